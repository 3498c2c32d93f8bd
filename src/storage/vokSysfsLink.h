// The links of /sys/class. In the older layout an entry is a directory and its `device` a link with the whole
// path of the device; in the current one the entry is a link with that path, and its `device` goes up from
// there. All paths are absolute paths on the host.
#pragma once

#include <string>

// The text of a link; empty with errno on failure.
std::string vokLinkText(const std::string& path);
// The path below /sys that all links of `path` lead to; empty with errno on failure, EXDEV for one out of
// /sys.
std::string vokResolvedPath(const std::string& path);
// The text of the link `entry` if it holds `sought`; otherwise the resolved path of the entry, or of its
// `device`, whichever holds it first. If none does, the link's text, which is empty with errno on failure.
std::string vokDeviceLink(const std::string& entry, const std::string& sought);
// The decimal number right after the first `prefix`, such as the 3 of "/ata3" in a path; -1 without one.
int vokNumberAfter(const std::string& path, const std::string& prefix);
