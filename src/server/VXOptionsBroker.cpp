#include "VXOptionsBroker.h"

#include <new>

#include "VXChecks.h"

namespace {

constexpr const char16_t* kOpener = u"\"/";
constexpr char16_t kQuote = u'"';
constexpr char16_t kBlank = u' ';
constexpr const char16_t* kUnquotedStrip = u"-/";
constexpr const char16_t* kCustomParamsKey = u"CustomParams";
constexpr const char16_t* kCustomParamPrefix = u"customParam_";
constexpr char16_t kItemSeparator = u'&';
constexpr char16_t kValueSeparator = u'=';

// Values of nothing but "x" are placeholders for "not given".
bool isPlaceholder(std::u16string_view value) {
    return value.find_first_not_of(u'x') == std::u16string_view::npos;
}

}  // namespace

VXResult VXOptionsBroker::parse(const char16_t* input) {
    VX_CHECK_PARAM(input);
    VXString line(input);
    line.trimLeft();

    const std::u16string_view text = line.view();
    size_t position = 0;
    bool first = true;
    for (;;) {
        const size_t opener = text.find(kOpener, position);
        if (opener == std::u16string_view::npos) {
            if (first) {
                // A bare switch without quotes: the whole text is one key.
                line.removeChars(kUnquotedStrip);
                if (!line.isEmpty())
                    VX_RETURN_IF_ERROR(_options.set(line, VXString()));
            }
            return VXError::eNoError;
        }
        first = false;
        const size_t start = opener + 2;
        const size_t closing = text.find(kQuote, start);
        const size_t end = closing == std::u16string_view::npos ? text.size() : closing;

        VXString token(text.substr(start, end - start));
        token.trimRight();
        const std::u16string_view tokenText = token.view();
        const size_t blank = tokenText.find(kBlank);
        if (blank == std::u16string_view::npos) {
            VX_RETURN_IF_ERROR(_options.set(token, VXString()));
        } else {
            const VXString key(tokenText.substr(0, blank));
            const std::u16string_view value = tokenText.substr(blank + 1);
            if (!isPlaceholder(value)) {
                if (key == kCustomParamsKey) {
                    parseCustomParams(VXString(value).c_str()).logIfError(VX_SITE);
                } else {
                    VX_RETURN_IF_ERROR(_options.set(key, VXString(value)));
                }
            }
        }
        if (closing == std::u16string_view::npos)
            return VXError::eNoError;
        position = closing + 1;
    }
}

VXResult VXOptionsBroker::parseCustomParams(const char16_t* customParams) {
    VX_CHECK_PARAM(customParams);
    VXString list(customParams);
    if (list.isEmpty()) {
        VX_LOG_DEBUG(u"%s - custom params list is empty", u"VXOptionsBroker::parseCustomParams()");
        return VXError::eNotFound;
    }
    list.trimRight();
    const std::u16string_view text = list.view();
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(kItemSeparator, start);
        if (end == std::u16string_view::npos)
            end = text.size();
        const std::u16string_view item = text.substr(start, end - start);
        if (!item.empty()) {
            const size_t equals = item.find(kValueSeparator);
            const VXString name(item.substr(0, equals));
            const VXString value(equals == std::u16string_view::npos ? std::u16string_view()
                                                                     : item.substr(equals + 1));
            try {
                _customParams[name] = value;
            } catch (const std::bad_alloc&) {
                return VX_ERROR(VXError::eNoMemory, u"Error returned");
            }
            VX_RETURN_IF_ERROR(_options.set(VXString(kCustomParamPrefix) + name, value));
        }
        start = end + 1;
    }
    return VXError::eNoError;
}
