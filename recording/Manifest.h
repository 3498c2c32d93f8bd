// manifest.json of an archive: what the recording is, what lies at each path, and the other members.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "recording/Recording.h"

namespace recording {

inline constexpr char manifestMember[] = "manifest.json";
inline constexpr char documentMember[] = "inventory.json";
inline constexpr char exchangesMember[] = "exchanges.jsonl";

struct MemberFacts {
    std::string name;
    std::uint64_t bytes = 0;
    std::uint32_t checksum = 0;  // vokChecksum()
};

// Members that hold the content of a file, by its path, in the order of the archive: "files" and the path. A
// path that no header holds, or that has other than printable ASCII characters or a backslash, has a number:
// "numbered/1".
std::map<std::string, std::string> contentMembers(const std::map<std::string, FileEntry>& files);

std::string writeManifest(const Recording& recording, const std::vector<MemberFacts>& members);

// Fills in all of `recording` that the manifest holds, and `members`. False with a sentence in `error`.
bool readManifest(std::string_view text, Recording& recording, std::vector<MemberFacts>& members,
                  std::string& error);

}  // namespace recording
