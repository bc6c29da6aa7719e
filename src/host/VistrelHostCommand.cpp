#include "VistrelHostCommand.h"

#include "HostPlatform.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelParams.h"

#include <cstdint>

namespace Vistrel {

VXResult HostCommand::newGuid(VXString& guid) {
    uint64_t random[2] = {};
    VX_RETURN_IF_ERROR(HostPlatform::randomBytes(random, sizeof(random)));
    const uint64_t high = random[0];
    const uint64_t low = random[1];
    guid = vxFormat(u"{%08X-%04X-%04X-%04X-%04X%08X}", static_cast<uint32_t>(high >> 32),
                    static_cast<uint32_t>((high >> 16) & 0xFFFF), static_cast<uint32_t>(high & 0xFFFF),
                    static_cast<uint32_t>(low >> 48), static_cast<uint32_t>((low >> 32) & 0xFFFF),
                    static_cast<uint32_t>(low & 0xFFFFFFFF));
    return VXError::eNoError;
}

VXResult HostCommand::checkIdentifier(const VXString& identifier) {
    bool valid = identifier.length() >= 1 && identifier.length() <= kMaxIdentifierLength;
    for (uint32_t i = 0; valid && i < identifier.length(); ++i) {
        const char16_t c = identifier[i];
        valid = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
                c == u'-' || c == u'{' || c == u'}';
    }
    if (!valid) {
        return VX_ERROR(
            VXError::eBadParameter,
            u"Identifier \"%s\" refused: an identifier is 1 to %u characters, each an ASCII letter, "
            u"a digit, '-', '{' or '}'",
            identifier, kMaxIdentifierLength);
    }
    return VXError::eNoError;
}

VXResult HostCommand::checkRect(const VXRect& captureRect) {
    const int64_t width = int64_t{captureRect.getRight()} - captureRect.getLeft();
    const int64_t height = int64_t{captureRect.getBottom()} - captureRect.getTop();
    if (width <= 0 || height <= 0)
        return VX_ERROR(VXError::eBadParameter, u"Capture rectangle %s refused: it is empty",
                        captureRect.toString());
    // As the server sizes its block, in 64 bits: (width + 4) x height x 4 plus the slack.
    const uint64_t block =
        (static_cast<uint64_t>(width) + 4) * static_cast<uint64_t>(height) * 4 + kImageBlockSlack;
    if (block > UINT32_MAX) {
        return VX_ERROR(
            VXError::eBadParameter,
            u"Capture rectangle %s refused: its image block of %llu bytes would not fit in 32 bits",
            captureRect.toString(), block);
    }
    return VXError::eNoError;
}

VXResult HostCommand::build(const VXString& serverPath, const VXRect& captureRect, const VXString& guid,
                            bool unitTestMode, VXString& commandLine) {
    VX_CHECK_PARAM(!guid.isEmpty());
    VXString options;
    VX_RETURN_IF_ERROR(Params::makeCommandLine(captureRect, guid.c_str(), unitTestMode, options));
    VX_RETURN_IF_ERROR(join(serverPath, options, commandLine));
    return VXError::eNoError;
}

VXResult HostCommand::join(const VXString& serverPath, const VXString& serverOptions, VXString& commandLine) {
    VX_CHECK_PARAM(!serverPath.isEmpty());
    // The server takes everything after the first blank outside quotes as its options,
    // so the program path is always quoted, blanks or not.
    VX_CHECK_PARAM(serverPath.find(u'"') < 0);
    VXString line;
    if (!line.format(u"\"%s\" %s", serverPath, serverOptions)) {
        return VX_ERROR(VXError::eTooLong, u"Command line too long");
    }
    commandLine = std::move(line);
    return VXError::eNoError;
}

}  // namespace Vistrel
