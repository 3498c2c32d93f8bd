// The agent's version, as it appears in the inventory and in the log. The build and the packages take theirs
// from here.
#pragma once

inline constexpr char VOK_VERSION[] = "3.3.2.1";
inline constexpr char VOK_VERSION_LOG[] = "Version-3.3.2.1";
