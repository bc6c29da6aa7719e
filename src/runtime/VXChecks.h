// One-line error sites. Each macro puts the right source location on what it produces, so
// the happy path of an operation reads top to bottom:
//   VX_CHECK_PARAM(dwSize > 0);
//   VX_RETURN_IF_ERROR(event.wait(kTimeout));
//   if (!mapping) return VX_WIN32_ERROR(u"CreateFileMapping");
#pragma once

#include "VXLog.h"
#include "VXPlatform.h"
#include "VXResult.h"
#include "VXSourceLocation.h"

// 2005 "Parameter check "expr" failed at , file.cpp:N." Returned, not logged.
#define VX_CHECK_PARAM(expr)                                                  \
    do {                                                                      \
        if (!(expr)) return ::VXResult::badParameter(#expr, VX_SITE_NOFUNC); \
    } while (0)

// Passes a failure up with "Error returned at <here>".
#define VX_RETURN_IF_ERROR(expr)                                                            \
    do {                                                                                    \
        const ::VXResult& vx_result_ = (expr); /* a named result is not copied */           \
        if (vx_result_.isError()) return ::VXResult(vx_result_, VX_SITE, u"Error returned"); \
    } while (0)

// The chained form of a result, for a return statement or an assignment.
#define VX_CHAIN(result) ::VXResult((result), VX_SITE, u"Error returned")

// A fresh failure: VX_ERROR(VXError::eUnexpected, u"Failed writing image").
#define VX_ERROR(code, fmt, ...) ::VXResult((code), VX_SITE, fmt __VA_OPT__(, ) __VA_ARGS__)

// A failure re-coded with a text: "%s, error (%d) "%s" at %s".
#define VX_RECODE(cause, code, fmt, ...) ::VXResult((cause), (code), VX_SITE, fmt __VA_OPT__(, ) __VA_ARGS__)

// Platform failures named after the call; the last-error form reads the thread's last error.
#define VX_WIN32_ERROR(method) ::VXResult::fromWin32Error(method, static_cast<uint32_t>(::VXPlatform::lastOsError()), VX_SITE)
#define VX_WIN32_ERROR_CODE(method, error) ::VXResult::fromWin32Error(method, static_cast<uint32_t>(error), VX_SITE)
#define VX_HRESULT_ERROR(method, hr) ::VXResult::fromHResult(method, static_cast<int32_t>(hr), VX_SITE)
#define VX_CRT_ERROR(method, error) ::VXResult::fromCrtError(method, (error), VX_SITE)

namespace VXAssert {
void failed(const VXSourceLocation& site);
void failedDot(const VXSourceLocation& site);
template <typename... Args>
void failedWith(const VXSourceLocation& site, const char16_t* fmt, const Args&... args) {
    VXString explanation;
    if (!explanation.format(fmt, args...)) {
        VX_LOG(VXLogLevel::eError, u"Allocation failure for var arg parsing of assertion failure at %s", site.text());
        return;
    }
    VX_LOG(VXLogLevel::eError, u"Assertion failure at %s. %s", site.text(), explanation);
}
void expressionFailed(const char* expression, const char16_t* explanation, const VXSourceLocation& site);
void testFailed(const char* expression, const char* file, int line);
void pointerMemberSet(const char* member, const VXSourceLocation& site);
}  // namespace VXAssert

// Programming errors: logged at level 3, execution continues.
#define VX_ASSERT_FAILED() ::VXAssert::failed(VX_SITE)
#define VX_ASSERT(expr)                          \
    do {                                         \
        if (!(expr)) ::VXAssert::failedDot(VX_SITE); \
    } while (0)
#define VX_ASSERT_MSG(expr, fmt, ...)                                                  \
    do {                                                                               \
        if (!(expr)) ::VXAssert::failedWith(VX_SITE, fmt __VA_OPT__(, ) __VA_ARGS__); \
    } while (0)
// "(expr) failed: explanation in <site>. (Last OS error: N)"
#define VX_VERIFY(expr, explanation)                                                \
    do {                                                                            \
        if (!(expr)) ::VXAssert::expressionFailed(#expr, explanation, VX_SITE);     \
    } while (0)
// "Boost test (expr) failed in file at line N. (Last OS error: N)"
#define VX_TEST_CHECK(expr)                                                 \
    do {                                                                    \
        if (!(expr)) ::VXAssert::testFailed(#expr, __FILE__, __LINE__);    \
    } while (0)
// In a destructor: an owned pointer member that is still set.
#define VX_CHECK_MEMBER_DELETED(member)                                         \
    do {                                                                        \
        if ((member) != nullptr) ::VXAssert::pointerMemberSet(#member, VX_SITE); \
    } while (0)
