// The 64-bit time functions of the Windows C runtime over the C library's
// time zone handling. Windows limits these to 1970-01-01 00:00:00 UTC ..
// 3000-12-31 23:59:59 UTC; times outside are errors there, so they are here.
#include "hdbplatform/Crt.h"

#include <cerrno>
#include <ctime>

namespace {

constexpr __time64_t kMaxTime64 = 32535215999; // 3000-12-31 23:59:59 UTC

bool InWindowsRange(__time64_t t) {
    return t >= 0 && t <= kMaxTime64;
}

// Windows marks a tm that could not be filled by setting every field to -1.
void MarkInvalid(std::tm* tm) {
    tm->tm_sec = tm->tm_min = tm->tm_hour = -1;
    tm->tm_mday = tm->tm_mon = tm->tm_year = -1;
    tm->tm_wday = tm->tm_yday = tm->tm_isdst = -1;
    tm->tm_gmtoff = 0;
    tm->tm_zone = nullptr;
}

// Normalises *timeptr through convert (mktime or timegm); the tm is changed
// only when the result is a time Windows can represent.
__time64_t MakeTime(std::tm* timeptr, std::time_t (*convert)(std::tm*)) {
    if (!timeptr) {
        errno = EINVAL;
        return -1;
    }
    std::tm normalised = *timeptr;
    const __time64_t result = convert(&normalised);
    if (!InWindowsRange(result)) {
        errno = EINVAL;
        return -1;
    }
    *timeptr = normalised;
    return result;
}

errno_t SplitTime(std::tm* tmDest, const __time64_t* sourceTime,
                  std::tm* (*split)(const std::time_t*, std::tm*)) {
    if (!tmDest)
        return EINVAL;
    if (!sourceTime || !InWindowsRange(*sourceTime)) {
        MarkInvalid(tmDest);
        return EINVAL;
    }
    const std::time_t t = static_cast<std::time_t>(*sourceTime);
    if (!split(&t, tmDest)) {
        MarkInvalid(tmDest);
        return EINVAL;
    }
    return 0;
}

} // namespace

__time64_t _time64(__time64_t* destTime) {
    const __time64_t now = static_cast<__time64_t>(std::time(nullptr));
    if (destTime)
        *destTime = now;
    return now;
}

__time64_t _mktime64(std::tm* timeptr) {
    return MakeTime(timeptr, &mktime);
}

__time64_t _mkgmtime64(std::tm* timeptr) {
    return MakeTime(timeptr, &timegm);
}

errno_t _localtime64_s(std::tm* tmDest, const __time64_t* sourceTime) {
    return SplitTime(tmDest, sourceTime, &localtime_r);
}

errno_t _gmtime64_s(std::tm* tmDest, const __time64_t* sourceTime) {
    return SplitTime(tmDest, sourceTime, &gmtime_r);
}
