// Requests of the test host's disk whose numbers state the length of their argument, a number of 32 bits.
#pragma once

#include <linux/ioctl.h>
#include <cstdint>

inline constexpr unsigned long addOne = _IOWR('T', 1, std::uint32_t);
inline constexpr unsigned long keepNumber = _IOW('T', 2, std::uint32_t);
inline constexpr unsigned long askNumber = _IOR('T', 3, std::uint32_t);  // the one that was kept
inline constexpr unsigned long unknownRequest = _IOWR('T', 4, std::uint32_t);
