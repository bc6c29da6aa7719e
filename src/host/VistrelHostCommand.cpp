#include "VistrelHostCommand.h"

#include <random>

#include "VXChecks.h"
#include "VistrelParams.h"

namespace Vistrel {

VXString HostCommand::newGuid() {
    std::random_device device;
    std::mt19937_64 generator((static_cast<uint64_t>(device()) << 32) ^ device());
    const uint64_t high = generator();
    const uint64_t low = generator();
    return vxFormat(u"{%08X-%04X-%04X-%04X-%04X%08X}", static_cast<uint32_t>(high >> 32),
                    static_cast<uint32_t>((high >> 16) & 0xFFFF), static_cast<uint32_t>(high & 0xFFFF),
                    static_cast<uint32_t>(low >> 48), static_cast<uint32_t>((low >> 32) & 0xFFFF),
                    static_cast<uint32_t>(low & 0xFFFFFFFF));
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
