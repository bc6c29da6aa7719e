#include "VistrelParams.h"

#include "VXChecks.h"
#include "VXMakeShared.h"
#include "VXOptionsBroker.h"

namespace {

constexpr const char16_t* kRectOption = u"cr";
constexpr const char16_t* kGuidOption = u"g";
constexpr const char16_t* kTestOption = u"ut";

bool isScanBlank(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

// One "%d" of swscanf: leading blanks, an optional sign, at least one digit. Numbers
// beyond 32 bits wrap.
bool scanInt(const char16_t*& p, int32_t& value) {
    while (isScanBlank(*p))
        ++p;
    bool negative = false;
    if (*p == u'+' || *p == u'-')
        negative = *p++ == u'-';
    if (*p < u'0' || *p > u'9')
        return false;
    uint32_t magnitude = 0;
    while (*p >= u'0' && *p <= u'9')
        magnitude = magnitude * 10u + static_cast<uint32_t>(*p++ - u'0');
    value = static_cast<int32_t>(negative ? 0u - magnitude : magnitude);
    return true;
}

// "%d,%d,%d,%d": anything after the fourth number is ignored.
bool scanRect(const VXString& text, VXRect& rect) {
    int32_t edges[4] = {};
    const char16_t* p = text.c_str();
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && *p++ != u',')
            return false;
        if (!scanInt(p, edges[i]))
            return false;
    }
    rect = VXRect(edges[0], edges[1], edges[2], edges[3]);
    return true;
}

}  // namespace

VXResult Vistrel::Params::create(const char16_t* cmdLineArgs, const char16_t* eventStartPrefix,
                                 const char16_t* eventCompletedPrefix, const char16_t* fmoExclWndsPrefix,
                                 const char16_t* fmoCaptureCursorPrefix, const char16_t* fmoImagePrefix,
                                 const char16_t* fmoWaitResultPrefix, const char16_t* fmoResultPrefix,
                                 std::shared_ptr<Params>& params) {
    VX_CHECK_PARAM(cmdLineArgs);
    VX_CHECK_PARAM(eventStartPrefix);
    VX_CHECK_PARAM(eventCompletedPrefix);
    VX_CHECK_PARAM(fmoExclWndsPrefix);
    VX_CHECK_PARAM(fmoCaptureCursorPrefix);
    VX_CHECK_PARAM(fmoImagePrefix);
    VX_CHECK_PARAM(fmoWaitResultPrefix);
    VX_CHECK_PARAM(fmoResultPrefix);

    VXOptionsBroker broker;
    VX_RETURN_IF_ERROR(broker.parse(cmdLineArgs));
    const VXOptions& options = broker.getOptions();
    VXString rectText;
    VXString guid;
    VX_RETURN_IF_ERROR(options.getString(kRectOption, rectText));
    VX_RETURN_IF_ERROR(options.getString(kGuidOption, guid));
    const bool unitTestMode = options.has(kTestOption);

    VXRect captureRect;
    if (!scanRect(rectText, captureRect))
        return VX_ERROR(VXError::eBadFormat, u"Error returned");
    if (guid.isEmpty())
        return VX_ERROR(VXError::eBadFormat, u"Error returned");

    std::shared_ptr<Params> created = vxMakeShared<Params>();
    if (!created)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    created->captureRect = captureRect;
    created->guid = guid;
    created->unitTestMode = unitTestMode;
    created->eventStartName = VXString(eventStartPrefix) + guid;
    created->eventCompletedName = VXString(eventCompletedPrefix) + guid;
    created->exclWndsName = VXString(fmoExclWndsPrefix) + guid;
    created->captureCursorName = VXString(fmoCaptureCursorPrefix) + guid;
    created->imageName = VXString(fmoImagePrefix) + guid;
    created->waitResultName = VXString(fmoWaitResultPrefix) + guid;
    created->resultName = VXString(fmoResultPrefix) + guid;
    params = std::move(created);
    return VXError::eNoError;
}

VXResult Vistrel::Params::makeCommandLine(const VXRect& captureRect, const char16_t* guid, bool unitTestMode,
                                          VXString& commandLine) {
    VX_CHECK_PARAM(guid);
    VXString line;
    if (!line.format(u"\"/cr %d,%d,%d,%d\" \"/g %s\"", captureRect.getLeft(), captureRect.getTop(),
                     captureRect.getRight(), captureRect.getBottom(), guid)) {
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    }
    if (unitTestMode && !line.append(u" \"/ut\""))
        return VX_ERROR(VXError::eTooLong, u"Error returned");
    commandLine = std::move(line);
    return VXError::eNoError;
}
