// The agent's version, as it appears in the inventory and in the log.
#pragma once

inline constexpr char VOK_VERSION[] = "3.3.2.1";
inline constexpr char VOK_VERSION_LOG[] = "Version-3.3.2.1";
