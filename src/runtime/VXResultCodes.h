// The named result codes the system uses. 2000 is success, codes above 2000 are errors,
// codes below 2000 are success statuses; VXResult::codeName knows every family's names.
#pragma once

#include <cstdint>

namespace VXStatus {
enum : int32_t { eNo = 1000, eYes, eLessThan, eGreaterThan, eEqualTo, eInProgress, eTruncated, eNeedData };
}

namespace VXError {
enum : int32_t {
    eNoError = 2000,
    eSomeError = 2001,
    eNullPointer = 2002,
    eBadHandle = 2003,
    eNoMemory = 2004,
    eBadParameter = 2005,
    eNoAccess = 2006,
    eNotInitialized = 2007,
    eNotFound = 2008,
    eExists = 2009,
    eIOError = 2010,
    eTooMany = 2011,
    eBusy = 2012,
    eIncomplete = 2013,
    eEnd = 2014,
    eDiskFull = 2015,
    eBadIndex = 2016,
    eBadFormat = 2017,
    eNotImplemented = 2018,
    eBadStatus = 2019,
    eUnexpected = 2020,
    ePreconditionFailed = 2021,
    eVerifyFailed = 2022,
    eRPC = 2023,
    eTimeout = 2024,
    eBadProtocol = 2025,
    eInvalidType = 2026,
    // 2027 has no name
    eUserCanceled = 2028,
    eInUse = 2029,
    eWriteProtect = 2030,
    eNotReady = 2031,
    eExpected = 2032,
    eTooLong = 2033,
    eBadSequence = 2034,
    eBadState = 2035,
    eErrorCount = 2036,
};
}

namespace VXThreadError {
enum : int32_t {
    eNotInitialized = 3000,
    eNotRunning = 3001,
    eCantJoinCurrent = 3002,
    eWaitFailed = 3003,
    eWaitAbandoned = 3005,
    eCanceled = 3006,
    eWaitObject = 3007,
};
}

namespace VXProcessError {
enum : int32_t { eStillRunning = 3500, eCurrentProcess, eSignaled };
}

namespace VXCCLError {
enum : int32_t { eServerException = 12503 };
}
