// The supported platforms, by the family text of their firmware.
#pragma once

#include <string>

inline constexpr const char* vokFirstPlatformFamily = "7711PID02020001";
inline constexpr const char* vokSecondPlatformFamilies[] = {"7711PID03020102", "7711PID03020101"};

inline bool vokIsFirstPlatform(const std::string& family) {
    return family == vokFirstPlatformFamily;
}

inline bool vokIsSecondPlatform(const std::string& family) {
    for (const char* each : vokSecondPlatformFamilies)
        if (family == each) return true;
    return false;
}
