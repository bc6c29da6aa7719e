// The symbolic names of result codes, and the words for unnamed codes of a known range.
#include <algorithm>
#include <mutex>
#include <vector>

#include "VXResult.h"

namespace {

struct CodeName {
    int32_t code;
    const char16_t* name;
};

// Sorted by code for a binary search.
constexpr CodeName kNames[] = {
    {1000, u"VXStatus::eNo"},
    {1001, u"VXStatus::eYes"},
    {1002, u"VXStatus::eLessThan"},
    {1003, u"VXStatus::eGreaterThan"},
    {1004, u"VXStatus::eEqualTo"},
    {1005, u"VXStatus::eInProgress"},
    {1006, u"VXStatus::eTruncated"},
    {1007, u"VXStatus::eNeedData"},
    {1100, u"VXHttpInfoStatus::eContinue"},
    {1101, u"VXHttpInfoStatus::eSwitchingProtocols"},
    {1102, u"VXHttpInfoStatus::eProcessing"},
    {1200, u"VXHttpStatus::eOK"},
    {1201, u"VXHttpStatus::eCreated"},
    {1202, u"VXHttpStatus::eAccepted"},
    {1203, u"VXHttpStatus::eNonAuthoritative"},
    {1204, u"VXHttpStatus::eNoContent"},
    {1205, u"VXHttpStatus::eResetContent"},
    {1206, u"VXHttpStatus::ePartialContent"},
    {1207, u"VXHttpStatus::eMultiStatus"},
    {1208, u"VXHttpStatus::eAlreadyReported"},
    {1226, u"VXHttpStatus::eIMUsed"},
    {1500, u"VXNetworkStatus::eFlushNone"},
    {1501, u"VXNetworkStatus::eFlushSome"},
    {1502, u"VXNetworkStatus::eFlushAll"},
    {2000, u"VXError::eNoError"},
    {2001, u"VXError::eSomeError"},
    {2002, u"VXError::eNullPointer"},
    {2003, u"VXError::eBadHandle"},
    {2004, u"VXError::eNoMemory"},
    {2005, u"VXError::eBadParameter"},
    {2006, u"VXError::eNoAccess"},
    {2007, u"VXError::eNotInitialized"},
    {2008, u"VXError::eNotFound"},
    {2009, u"VXError::eExists"},
    {2010, u"VXError::eIOError"},
    {2011, u"VXError::eTooMany"},
    {2012, u"VXError::eBusy"},
    {2013, u"VXError::eIncomplete"},
    {2014, u"VXError::eEnd"},
    {2015, u"VXError::eDiskFull"},
    {2016, u"VXError::eBadIndex"},
    {2017, u"VXError::eBadFormat"},
    {2018, u"VXError::eNotImplemented"},
    {2019, u"VXError::eBadStatus"},
    {2020, u"VXError::eUnexpected"},
    {2021, u"VXError::ePreconditionFailed"},
    {2022, u"VXError::eVerifyFailed"},
    {2023, u"VXError::eRPC"},
    {2024, u"VXError::eTimeout"},
    {2025, u"VXError::eBadProtocol"},
    {2026, u"VXError::eInvalidType"},
    {2028, u"VXError::eUserCanceled"},
    {2029, u"VXError::eInUse"},
    {2030, u"VXError::eWriteProtect"},
    {2031, u"VXError::eNotReady"},
    {2032, u"VXError::eExpected"},
    {2033, u"VXError::eTooLong"},
    {2034, u"VXError::eBadSequence"},
    {2035, u"VXError::eBadState"},
    {2036, u"VXError::eErrorCount"},
    {2800, u"VXPosixError::eTooManyArguments"},
    {2801, u"VXPosixError::eAddressNotAvailable"},
    {2802, u"VXPosixError::eUnknownAddressFamily"},
    {2803, u"VXPosixError::eTryAgain"},
    {2804, u"VXPosixError::eConnInProgress"},
    {2805, u"VXPosixError::eNoChild"},
    {2806, u"VXPosixError::eDeadlock"},
    {2807, u"VXPosixError::eDestAddressRequired"},
    {2808, u"VXPosixError::eDomain"},
    {2809, u"VXPosixError::eTooLarge"},
    {2810, u"VXPosixError::eIdRemoved"},
    {2811, u"VXPosixError::eInProgress"},
    {2812, u"VXPosixError::eInterrupted"},
    {2813, u"VXPosixError::eIsDirectory"},
    {2814, u"VXPosixError::eTooDeep"},
    {2815, u"VXPosixError::eTooManyFiles"},
    {2816, u"VXPosixError::eTooManyLinks"},
    {2817, u"VXPosixError::eMsgTooLarge"},
    {2818, u"VXPosixError::eNetDown"},
    {2819, u"VXPosixError::eNetReset"},
    {2820, u"VXPosixError::eNetUnreachable"},
    {2821, u"VXPosixError::eTooManySysFiles"},
    {2822, u"VXPosixError::eNoBuffers"},
    {2823, u"VXPosixError::eNoData"},
    {2824, u"VXPosixError::eNoDevice"},
    {2825, u"VXPosixError::eBadExecFormat"},
    {2826, u"VXPosixError::eTooManyLocks"},
    {2827, u"VXPosixError::eNoLink"},
    {2828, u"VXPosixError::eNoProtoOption"},
    {2829, u"VXPosixError::eNoStreamResources"},
    {2830, u"VXPosixError::eNotStream"},
    {2831, u"VXPosixError::eNotConnected"},
    {2832, u"VXPosixError::eNotDirectory"},
    {2833, u"VXPosixError::eNotEmpty"},
    {2834, u"VXPosixError::eNotRecoverable"},
    {2835, u"VXPosixError::eBadSocket"},
    {2836, u"VXPosixError::eNotSupported"},
    {2837, u"VXPosixError::eBadIoControl"},
    {2838, u"VXPosixError::eBadAddress"},
    {2839, u"VXPosixError::eOpNotSupported"},
    {2840, u"VXPosixError::eOverflow"},
    {2841, u"VXPosixError::eNotPermitted"},
    {2842, u"VXPosixError::ePipe"},
    {2843, u"VXPosixError::eNoProtocol"},
    {2844, u"VXPosixError::eBadProtocolType"},
    {2845, u"VXPosixError::eRange"},
    {2846, u"VXPosixError::eBadSeek"},
    {2847, u"VXPosixError::eNoProcess"},
    {2848, u"VXPosixError::eStreamTimeout"},
    {2849, u"VXPosixError::eTextFileBusy"},
    {2850, u"VXPosixError::eWouldBlock"},
    {2851, u"VXPosixError::eBadLink"},
    {3000, u"VXThreadError::eNotInitialized"},
    {3001, u"VXThreadError::eNotRunning"},
    {3002, u"VXThreadError::eCantJoinCurrent"},
    {3003, u"VXThreadError::eWaitFailed"},
    {3005, u"VXThreadError::eWaitAbandoned"},
    {3006, u"VXThreadError::eCanceled"},
    {3007, u"VXThreadError::eWaitObject"},
    {3500, u"VXProcessError::eStillRunning"},
    {3501, u"VXProcessError::eCurrentProcess"},
    {3502, u"VXProcessError::eSignaled"},
    {4000, u"VXNetworkError::eSocketError"},
    {4001, u"VXNetworkError::eUnknownHost"},
    {4002, u"VXNetworkError::eConnectError"},
    {4003, u"VXNetworkError::eSSLError"},
    {4004, u"VXNetworkError::eHTTPError"},
    {4005, u"VXNetworkError::eAuthError"},
    {9000, u"VXSecurityError::eBadCertificate"},
    {9001, u"VXSecurityError::eCertificateExpired"},
    {9002, u"VXSecurityError::eBadAlgorithm"},
    {9004, u"VXSecurityError::eBadKeySize"},
    {9005, u"VXSecurityError::eBadBlockSize"},
    {9006, u"VXSecurityError::eIntegrityFailed"},
    {9007, u"VXSecurityError::eAuthFailed"},
    {9008, u"VXSecurityError::eCertificateNotYetValid"},
    {9009, u"VXSecurityError::eNotYetValid"},
    {9010, u"VXSecurityError::eExpired"},
    {10500, u"VXWindowsSecurityError::eDenyOnly"},
    {10501, u"VXWindowsSecurityError::eDisabled"},
    {10502, u"VXWindowsSecurityError::eRestricted"},
    {10503, u"VXWindowsSecurityError::eNotAdmin"},
    {12000, u"VXDeviceError::eDeviceError"},
    {12001, u"VXDeviceError::eDeviceShutdown"},
    {12002, u"VXDeviceError::eDeviceNotReady"},
    {12003, u"VXDeviceError::eConnectionRefused"},
    {12004, u"VXDeviceError::eConnectionTimeout"},
    {12005, u"VXDeviceError::eConnectionReset"},
    {12006, u"VXDeviceError::eConnectionExists"},
    {12007, u"VXDeviceError::eConnectionAborted"},
    {12008, u"VXDeviceError::eAddressInUse"},
    {12009, u"VXDeviceError::eAddressUnreachable"},
    {12010, u"VXDeviceError::eLostConnection"},
    {12011, u"VXDeviceError::eUnableToInitialize"},
    {12500, u"VXCCLError::eNullIpcAdapter"},
    {12501, u"VXCCLError::eDeadObject"},
    {12502, u"VXCCLError::eNotRetained"},
    {12503, u"VXCCLError::eServerException"},
    {12504, u"VXCCLError::eParamSerializationFailed"},
    {12505, u"VXCCLError::eParamUnserializationFailed"},
    {12506, u"VXCCLError::eIpcCallToInprocMethod"},
    {12507, u"VXCCLError::eMalwareClientAuthenticationFailed"},
    {12511, u"VXCCLError::eUnexpectedNilResult"},
    {12521, u"VXCCLError::eCease"},
    {13000, u"VXHttpError::eUnknownStatus"},
    {13300, u"VXHttpError::eMultipleChoices"},
    {13301, u"VXHttpError::ePermanentRedirect"},
    {13302, u"VXHttpError::eFound"},
    {13303, u"VXHttpError::eResponseRedirect"},
    {13304, u"VXHttpError::eNotModified"},
    {13305, u"VXHttpError::eUseProxy"},
    {13307, u"VXHttpError::eTempRedirect"},
    {13308, u"VXHttpError::ePermanentRedirect308"},
    {13400, u"VXHttpError::eBadRequest"},
    {13401, u"VXHttpError::eUnauthorized"},
    {13402, u"VXHttpError::ePaymentRequired"},
    {13403, u"VXHttpError::eForbidden"},
    {13404, u"VXHttpError::eNotFound"},
    {13405, u"VXHttpError::eNotAllowed"},
    {13406, u"VXHttpError::eNotAcceptable"},
    {13407, u"VXHttpError::eProxyAuthRequired"},
    {13408, u"VXHttpError::eRequestTimeout"},
    {13409, u"VXHttpError::eConflict"},
    {13410, u"VXHttpError::eGone"},
    {13411, u"VXHttpError::eLengthRequired"},
    {13412, u"VXHttpError::ePreconditionFailed"},
    {13413, u"VXHttpError::eRequestTooLarge"},
    {13414, u"VXHttpError::eRequestUriTooLong"},
    {13415, u"VXHttpError::eUnsupportedMediaType"},
    {13416, u"VXHttpError::eRangeNotSatisfiable"},
    {13417, u"VXHttpError::eExpectationFailed"},
    {13418, u"VXHttpError::eImaTeapot"},
    {13421, u"VXHttpError::eMisdirectedRequest"},
    {13422, u"VXHttpError::eUnprocessableEntity"},
    {13423, u"VXHttpError::eLocked"},
    {13424, u"VXHttpError::eFailedDependency"},
    {13426, u"VXHttpError::eUpgradeRequired"},
    {13428, u"VXHttpError::ePreconditionRequired"},
    {13429, u"VXHttpError::eTooManyRequests"},
    {13431, u"VXHttpError::eRequestHeaderFieldsTooLarge"},
    {13444, u"VXHttpError::eConnectionClosedWithoutResponse"},
    {13451, u"VXHttpError::eUnavailableForLegalReasons"},
    {13499, u"VXHttpError::eClientClosedRequest"},
    {13500, u"VXHttpError::eInternalServerError"},
    {13501, u"VXHttpError::eNotImplemented"},
    {13502, u"VXHttpError::eBadGateway"},
    {13503, u"VXHttpError::eServiceUnavailable"},
    {13504, u"VXHttpError::eGatewayTimeout"},
    {13505, u"VXHttpError::eVersionNotSupported"},
    {13506, u"VXHttpError::eVariantAlsoNegotiates"},
    {13507, u"VXHttpError::eInsufficientStorage"},
    {13508, u"VXHttpError::eLoopDetected"},
    {13510, u"VXHttpError::eNotExtended"},
    {13511, u"VXHttpError::eNetworkAuthenticationRequired"},
    {13599, u"VXHttpError::eNetworkConnectTimeoutError"},
};

struct RangeWord {
    int32_t first;
    int32_t last;
    const char16_t* word;
};

// Tested in this order; the first range that holds the code names it.
constexpr RangeWord kRanges[] = {
    {1000, 1099, u"unrecognized status code"},
    {1500, 1599, u"network status code"},
    {2001, 2799, u"unrecognized basic error code"},
    {3000, 3499, u"unrecognized thread error code"},
    {4000, 4999, u"network error code"},
    {5000, 5999, u"compression error code"},
    {6000, 6999, u"multicast error code"},
    {7000, 7999, u"broker error code"},
    {8000, 8999, u"rpc error code"},
    {9000, 9999, u"security error code"},
    {10000, 10499, u"screen sharing error code"},
    {10500, 10999, u"windows security error code"},
    {11000, 11999, u"voip error code"},
    {12000, 12499, u"device error code"},
    {12500, 12999, u"component connection error code"},
};

struct Resolvers {
    std::mutex lock;
    std::vector<VXResult::CodeNameResolver> list;
};

Resolvers& resolvers() {
    static Resolvers* instance = new Resolvers;  // never destroyed: results are named until exit
    return *instance;
}

}  // namespace

const char16_t* VXResult::codeName(int32_t code) {
    const auto* end = std::end(kNames);
    const auto* it = std::lower_bound(std::begin(kNames), end, code,
                                      [](const CodeName& entry, int32_t c) { return entry.code < c; });
    if (it != end && it->code == code)
        return it->name;
    // Resolvers run without the lock: one may name a code itself, or register another.
    std::vector<CodeNameResolver> list;
    {
        Resolvers& r = resolvers();
        std::lock_guard<std::mutex> guard(r.lock);
        list = r.list;
    }
    for (CodeNameResolver resolver : list) {
        if (const char16_t* name = resolver(code))
            return name;
    }
    for (const RangeWord& range : kRanges) {
        if (code >= range.first && code <= range.last)
            return range.word;
    }
    return u"unrecognized error code";
}

void VXResult::registerCodeNameResolver(CodeNameResolver resolver) {
    if (resolver == nullptr)
        return;
    Resolvers& r = resolvers();
    std::lock_guard<std::mutex> guard(r.lock);
    r.list.push_back(resolver);
}
