#include <cstdio>

#include "VXLog.h"

namespace {

// Every machine logs on the same fixed clock: UTC minus 8 hours, no daylight saving.
constexpr int64_t kOffsetHundredNs = 288000000000LL;
constexpr int64_t kHundredNsPerMs = 10000;
constexpr int64_t kMsPerDay = 86400000;

// Days since 1601-01-01 (the file-time epoch) for a civil date, and back.
int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 584754;  // 584754: days from 0000-03-01 to 1601-01-01
}

void civilFromDays(int64_t z, int64_t& y, unsigned& m, unsigned& d) {
    z += 584754;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

}  // namespace

namespace VXLogLevel {

const char16_t* prefix(int32_t level) {
    switch (level) {
        case eResultDefault: return u"";
        case eDebug: return u"d: ";
        case eInfo: return u"i: ";
        case eWarning: return u"W: ";
        case eError: return u"E: ";
        case eSystem: return u"s: ";
        case eCritical: return u"C: ";
        default: return nullptr;
    }
}

const char16_t* name(int32_t level) {
    switch (level) {
        case eDebug: return u"Debug message";
        case eInfo: return u"Information";
        case eWarning: return u"Warning";
        case eError: return u"Error";
        default: return u"";
    }
}

}  // namespace VXLogLevel

VXString VXLogFormatter::formatTimestamp(const VXSystemTime& utc) {
    const int64_t days = daysFromCivil(utc.year, utc.month, utc.day);
    const int64_t ms = days * kMsPerDay + ((utc.hour * 60 + utc.minute) * 60 + utc.second) * 1000LL + utc.milliseconds;
    const int64_t shifted = ms - kOffsetHundredNs / kHundredNsPerMs;
    const int64_t dayPart = shifted >= 0 ? shifted / kMsPerDay : (shifted - kMsPerDay + 1) / kMsPerDay;
    int64_t msOfDay = shifted - dayPart * kMsPerDay;
    int64_t year = 0;
    unsigned month = 0, day = 0;
    civilFromDays(dayPart, year, month, day);
    const auto hour = static_cast<unsigned>(msOfDay / 3600000);
    msOfDay %= 3600000;
    const auto minute = static_cast<unsigned>(msOfDay / 60000);
    msOfDay %= 60000;
    return vxFormat(u"%04u-%02u-%02u %02u:%02u:%02u.%03u PST", static_cast<unsigned>(year), month, day, hour, minute,
                    static_cast<unsigned>(msOfDay / 1000), static_cast<unsigned>(msOfDay % 1000));
}

VXString VXLogFormatter::timestamp() { return formatTimestamp(VXPlatform::utcNow()); }

VXResult VXLogFormatter::formatLine(const VXLogData& data, const VXString& stamp, VXString& line) {
    const char16_t* levelPrefix = VXLogLevel::prefix(data.level);
    if (levelPrefix == nullptr) return VXError::eBadParameter;
    VXString out;
    if (!stamp.isEmpty()) out.appendFormat(u"%s ", stamp);
    out.append(levelPrefix);
    if (!data.thread.isEmpty()) out.appendFormat(u"[%s] ", data.thread);
    if (!data.file.isEmpty()) out.appendFormat(u"<%s> ", data.file);
    if (!data.tag.isEmpty()) out.appendFormat(u"{%s} ", data.tag);
    if (!data.function.isEmpty()) out.appendFormat(u"%s - ", data.function);
    const uint32_t room = out.length() < kMaxLineLength ? kMaxLineLength - out.length() : 0;
    out.append(data.message.c_str(), static_cast<int32_t>(std::min(room, data.message.length())));
    line = std::move(out);
    return VXError::eNoError;
}
