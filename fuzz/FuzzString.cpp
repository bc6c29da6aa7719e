// The string operations on any text: the input is split at 0xFF bytes into a subject, a
// pattern and a replacement, and its first bytes choose positions and a radix. Results are
// checked against the same operation on std::u16string.
#include <cstdint>
#include <string>
#include <vector>

#include "VXResult.h"
#include "VXString.h"

namespace {

// What trim removes: blank, tab and line ends only.
constexpr std::u16string_view kWhitespace = u" \n\r\t";

// Byte values stand for code units; a few map above 0xFF so that wide text is seen too.
std::u16string widen(const uint8_t* data, size_t size) {
    std::u16string out;
    for (size_t i = 0; i < size; ++i)
        out.push_back(data[i] >= 0xF8 ? static_cast<char16_t>(0xD800 + data[i])
                                      : static_cast<char16_t>(data[i]));
    return out;
}

std::u16string replaceAllReference(std::u16string text, std::u16string_view from, std::u16string_view to) {
    std::u16string out;
    size_t at = 0;
    for (size_t pos = text.find(from); pos != std::u16string::npos; pos = text.find(from, at)) {
        out.append(text, at, pos - at).append(to);
        at = pos + from.size();
    }
    return out.append(text, at, std::u16string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4)
        return 0;
    const int32_t start = static_cast<int8_t>(data[0]);
    const int32_t count = static_cast<int8_t>(data[1]);
    const int32_t radix = data[2] % 40;
    const uint8_t repeat = data[3];  // long subjects reach the length limit
    std::vector<std::u16string> parts(1);
    for (size_t i = 4; i < size; ++i) {
        if (data[i] == 0xFF && parts.size() < 3)
            parts.emplace_back();
        else
            parts.back() += widen(data + i, 1);
    }
    parts.resize(3);
    std::u16string subject;
    for (int i = 0; i <= repeat % 8; ++i)
        subject += parts[0];
    // The C-string operations stop at a terminator; keep the reference to the same text.
    for (std::u16string* s : {&subject, &parts[1], &parts[2]}) {
        if (const size_t nul = s->find(u'\0'); nul != std::u16string::npos)
            s->resize(nul);
    }
    if (subject.size() > VXString::kMaxLength)
        subject.resize(VXString::kMaxLength);

    const VXString text(subject.c_str());
    if (text.view() != subject)
        __builtin_trap();

    VXString piece;
    const bool inside = count >= 0 && start >= 0 && static_cast<size_t>(start) + count <= subject.size();
    if (text.substr(start, count, piece).isSuccess() != inside)
        __builtin_trap();
    if (inside && piece.view() != std::u16string_view(subject).substr(start, count))
        __builtin_trap();

    VXString replaced = text;
    const VXResult r = replaced.replaceAll(parts[1].c_str(), parts[2].c_str());
    if (!parts[1].empty() && subject.find(parts[1]) != std::u16string::npos) {
        const std::u16string expected = replaceAllReference(subject, parts[1], parts[2]);
        if (expected.size() <= VXString::kMaxLength && (r.isError() || replaced.view() != expected))
            __builtin_trap();
        if (expected.size() > VXString::kMaxLength && (r.isSuccess() || replaced.view() != subject))
            __builtin_trap();
    }
    VXString first = text;
    first.replaceFirst(parts[1].c_str(), parts[2].c_str());

    VXString trimmed = text;
    trimmed.trim();
    const size_t left = subject.find_first_not_of(kWhitespace);
    const std::u16string expected =
        left == std::u16string::npos ? u""
                                     : subject.substr(left, subject.find_last_not_of(kWhitespace) - left + 1);
    if (trimmed.view() != expected)
        __builtin_trap();

    int32_t value = 0;
    text.toInt(radix, value);
    return 0;
}
