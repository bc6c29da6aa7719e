#include <gtest/gtest.h>

#include "VXResult.h"
#include "VXString.h"
#include "support/LogCapture.h"

#include <cstdlib>
#include <locale>
#include <tuple>

#ifdef _WIN32
#include <windows.h>

#include "VXStringTestResources.h"
#endif

namespace {

TEST(VXString, NullTextLengthLimitAndWritableBuffer) {
    EXPECT_EQ(text(VXString(static_cast<const char16_t*>(nullptr))), "(null)");
    VXString s(u"x");
    s = static_cast<const char16_t*>(nullptr);
    EXPECT_EQ(text(s), "(null)");

    VXString full(u'a', 65534);
    ASSERT_EQ(full.length(), 65534u);
    EXPECT_FALSE(full.append(u"b"));
    EXPECT_FALSE(full.prepend(u"b"));
    EXPECT_TRUE(full.append(u""));
    EXPECT_FALSE(VXString(u"a").append(nullptr));
    EXPECT_TRUE(VXString(u'a', 65535).isEmpty());
    LogCapture log;
    full += u"c";
    EXPECT_TRUE(log.contains("Failure in VXString += operator"));
    EXPECT_EQ(full.length(), 65534u);
    EXPECT_EQ(full[65533], u'a');
    EXPECT_EQ(full.getWritableBuffer(70000), nullptr);
    EXPECT_TRUE(log.contains("Failure in VXString::getWritableBuffer"));

    char16_t* buffer = s.getWritableBuffer(10);
    ASSERT_NE(buffer, nullptr);
    buffer[0] = u'h', buffer[1] = u'i', buffer[2] = u'\0';
    s.releaseWritableBuffer();
    EXPECT_EQ(text(s), "hi");
}

TEST(VXString, AppendAndPrependFromOwnBuffer) {
    VXString s(u"0123456789");
    // Enough appends to force reallocation while the source points into the old buffer.
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(s.append(s.c_str() + 3, 4));
    EXPECT_EQ(text(s), "012345678934563456345634563456");
    VXString p(u"abcdef");
    ASSERT_TRUE(p.prepend(p.c_str() + 2, 3));
    EXPECT_EQ(text(p), "cdeabcdef");
    ASSERT_TRUE(p.append(p));
    EXPECT_EQ(text(p), "cdeabcdefcdeabcdef");
    p.assign(p.c_str() + 3, 3);
    EXPECT_EQ(text(p), "abc");
}

// A decimal comma and dots between thousands, without relying on the machine's locales.
struct CommaDecimal : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(VXString, DoublesWithAPrecisionOrALocaleAndPrecisionAbove17ReportsAndClamps) {
    EXPECT_EQ(text(VXString(1234.5678, 6)), "1234.57");
    EXPECT_EQ(text(VXString(0.1, 17)), "0.10000000000000001");
    const std::locale comma(std::locale::classic(), new CommaDecimal);
    EXPECT_EQ(text(VXString(1234567.5, comma, 8)), "1.234.567,5");
    EXPECT_EQ(text(VXString(0.25, comma)), "0,25");
    EXPECT_EQ(text(VXString(0.25, std::locale::classic())), "0.25");
    LogCapture log;
#ifdef _WIN32
    static int raised = 0;  // the precondition is fatal unless execution is continued
    PVOID handler = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* info) -> LONG {
        if (info->ExceptionRecord->ExceptionCode != VXPlatform::kFatalPreconditionException)
            return EXCEPTION_CONTINUE_SEARCH;
        ++raised;
        return EXCEPTION_CONTINUE_EXECUTION;
    });
    VXString s(0.1, 20);
    RemoveVectoredExceptionHandler(handler);
    EXPECT_EQ(raised, 1);
#else
    VXString s(0.1, 20);
#endif
    EXPECT_EQ(text(s), "0.10000000000000001");
    EXPECT_TRUE(log.contains("Assertion failure at VXString::VXString, vxstring.cpp:"));
}

// Counts what passes through it; buffers come from the C heap.
struct CountingAllocator : IVXAllocator {
    void* allocate(size_t bytes) override {
        ++allocations;
        return refuse ? nullptr : std::malloc(bytes);
    }
    void* reallocate(void* buffer, size_t bytes) override {
        return refuse ? nullptr : std::realloc(buffer, bytes);
    }
    void release(void* buffer) override {
        ++releases;
        std::free(buffer);
    }
    int allocations = 0;
    int releases = 0;
    bool refuse = false;
};

TEST(VXString, BuffersComeFromAndGoBackToTheStringsAllocator) {
    CountingAllocator counting;
    {
        VXString own(&counting);
        ASSERT_TRUE(own.append(u"held by the counting allocator"));
        ASSERT_TRUE(own.format(u"%s and formatted", own));
        VXString moved(std::move(own));  // the buffer travels with its allocator
        EXPECT_EQ(moved.allocator(), &counting);
        VXString heap(u"heap text");
        heap = std::move(moved);  // another allocator's buffer is copied, not taken
        EXPECT_EQ(heap.allocator(), nullptr);
        EXPECT_EQ(text(heap), "held by the counting allocator and formatted");
        const VXString copy(heap);
        EXPECT_EQ(copy.allocator(), nullptr);
        EXPECT_GE(counting.allocations, 2);
    }
    EXPECT_EQ(counting.releases, counting.allocations);
}

// Whatever way a secure string gets its new text, the flag stays while its old text does.
TEST(VXString, TheSecureFlagSurvivesAssignmentFromItsOwnTextAndFailedAssignments) {
    LogCapture log;
    VXString s(u"hunter22");
    s.setSecure(true);
    ASSERT_TRUE(s.substr(1, s).isSuccess());
    EXPECT_TRUE(s.isSecure()) << "substr into itself";
    ASSERT_TRUE(s.assign(s.c_str() + 1, 3));
    EXPECT_TRUE(s.isSecure()) << "assign from its own buffer";
    EXPECT_EQ(text(VXString(s.view())), "nte");

    CountingAllocator refusing;
    VXString starved(&refusing);
    ASSERT_TRUE(starved.append(u"swordfish"));
    starved.setSecure(true);
    refusing.refuse = true;
    const VXString longer(u'x', 100);
    starved = longer;
    EXPECT_TRUE(starved.isSecure()) << "a failed copy keeps the old text";
    starved = VXString(u'y', 100);
    EXPECT_TRUE(starved.isSecure()) << "a failed move from another allocator too";
    VX_LOG_ERROR(u"contents: %s", starved);
    EXPECT_TRUE(log.contains("contents: (secure)"));
    EXPECT_FALSE(log.contains("swordfish"));
    refusing.refuse = false;
    starved = longer;
    EXPECT_FALSE(starved.isSecure()) << "a plain text that did arrive is plain";
}

#ifdef _WIN32
TEST(VXString, StringResourcesFormatAndLoadOrSayWhyNot) {
    LogCapture log;
    VXString s(u"unchanged");
    VXString::setInstance(nullptr);
    EXPECT_FALSE(s.formatFromResource(kWindowFormatId, 3, u"7"));
    EXPECT_TRUE(log.contains("VXString::setInstance not called!"));

    VXString::setInstance(GetModuleHandleW(nullptr));
    EXPECT_TRUE(s.formatFromResource(kWindowFormatId, 3, u"7"));
    EXPECT_EQ(text(s), "Window 3 of 7");
    EXPECT_FALSE(s.formatFromResource(kMissingId));
    EXPECT_EQ(text(s), "Window 3 of 7");
    EXPECT_TRUE(log.contains("Failed to load string resource"));
    CountingAllocator refusing;
    refusing.refuse = true;
    VXString starved(&refusing);
    EXPECT_FALSE(starved.formatFromResource(kWindowFormatId, 3, u"7"));
    EXPECT_TRUE(log.contains("Error attempting to format 'Window %d of %s': errNum = '12'."));
    VXString::setInstance(nullptr);

    VXString loaded;
    ASSERT_TRUE(VXString::fromRes(kPlainTextId, loaded).isSuccess());
    EXPECT_EQ(text(loaded), "Capture server");
    EXPECT_EQ(VXString::fromRes(kMissingId, loaded).code(), VXError::eNotFound);
}
#endif

TEST(VXString, ParsingAndSearching) {
    LogCapture log;
    int32_t v = 99;
    EXPECT_EQ(VXString(u"12").toInt(1, v).code(), VXError::eBadParameter);
    EXPECT_TRUE(log.contains("Radix 1 in"));
    for (const char16_t* bad : {u"x1", u"", u"-"})
        EXPECT_EQ(VXString(bad).toInt(10, v).code(), VXError::eBadFormat);
    EXPECT_THAT(text(VXString(u"x1").toInt(10, v).message()), HasSubstr("String \"x1\" not a number in"));
    EXPECT_EQ(v, 99);  // untouched on failure
    const std::tuple<const char16_t*, int32_t, int32_t> good[] = {{u"-7", 10, -7},
                                                                  {u"12ab", 10, 12},
                                                                  {u"  ff", 16, 255},
                                                                  {u"-zz", 36, -1295},
                                                                  {u"99999999999", 10, INT32_MAX}};
    for (const auto& [input, radix, value] : good) {
        ASSERT_TRUE(VXString(input).toInt(radix, v).isSuccess()) << text(input);
        EXPECT_EQ(v, value) << text(input);
    }

    VXString s(u"hello world");
    VXString out;
    ASSERT_TRUE(s.substr(6, out).isSuccess());
    EXPECT_EQ(text(out), "world");
    EXPECT_TRUE(s.substr(12, out).isError());
    EXPECT_TRUE(log.contains("Bounds check failed in VXString::substr(int32)"));

    VXString r(u"a.b.c");
    ASSERT_TRUE(r.replaceFirst(u".", u"..").isSuccess());  // replacement containing the search text
    EXPECT_EQ(text(r), "a..b.c");
    EXPECT_TRUE(r.replaceFirst(nullptr, u"y").isError());
}

TEST(VXString, Utf8RoundTrip) {
    const std::string input = "caf\xC3\xA9 \xF0\x9F\x98\x80";
    EXPECT_EQ(VXString::fromUtf8(input).toUtf8(), input);
    EXPECT_EQ(text(VXString::fromUtf8("\xFF"
                                      "a")),
              "\xC3\xBF"
              "a");  // stray byte kept as Latin-1
}

}  // namespace
