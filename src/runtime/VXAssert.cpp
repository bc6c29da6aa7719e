#include "VXChecks.h"

namespace VXAssert {

void failed(const VXSourceLocation& site) { VX_LOG(VXLogLevel::eError, u"Assertion failure at %s", site.text()); }

void failedDot(const VXSourceLocation& site) { VX_LOG(VXLogLevel::eError, u"Assertion failure at %s.", site.text()); }

void expressionFailed(const char* expression, const char16_t* explanation, const VXSourceLocation& site) {
    const int32_t lastError = VXPlatform::lastOsError();
    VX_LOG(VXLogLevel::eError, u"(%hs) failed: %s in %s. (Last OS error: %d)", expression, explanation, site.text(),
           lastError);
}

void testFailed(const char* expression, const char* file, int line) {
    const int32_t lastError = VXPlatform::lastOsError();
    VX_LOG(VXLogLevel::eError, u"Boost test (%hs) failed in %hs at line %d. (Last OS error: %d)", expression,
           VXSourceLocation::fileName(file), line, lastError);
}

void pointerMemberSet(const char* member, const VXSourceLocation& site) {
    VX_LOG(VXLogLevel::eError, u"Pointer member \"%hs\" should be deleted and set to NULL in %s", member, site.text());
}

}  // namespace VXAssert
