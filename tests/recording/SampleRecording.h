// A small recording with something of each kind, for the tests of archives.
#pragma once

#include "recording/Recording.h"

inline recording::FileEntry fileEntry(const std::string& content) {
    recording::FileEntry entry;
    entry.kind = recording::FileEntry::Kind::file;
    entry.content = content;
    entry.asked = true;
    return entry;
}

inline recording::FileEntry linkEntry(const std::string& target) {
    recording::FileEntry entry;
    entry.kind = recording::FileEntry::Kind::link;
    entry.target = target;
    return entry;
}

inline recording::FileEntry directoryEntry(std::map<std::string, recording::FileEntry::Kind> children = {}) {
    recording::FileEntry entry;
    entry.kind = recording::FileEntry::Kind::directory;
    entry.children = std::move(children);
    return entry;
}

inline recording::FileEntry entryOf(recording::FileEntry::Kind kind, int error = 0) {
    recording::FileEntry entry;
    entry.kind = kind;
    entry.error = error;
    return entry;
}

inline recording::Recording sampleRecording() {
    using Kind = recording::FileEntry::Kind;
    recording::Recording sample;
    sample.agentVersion = "3.3.2.1";
    sample.abi = "i386";
    sample.time = 1700000000;
    sample.redacted = true;
    sample.replaced = {{"MAC address", 2}, {"serial number", 13}};
    sample.files["/"] = directoryEntry({{"sys", Kind::directory}, {"tmp\xFF", Kind::file}});
    sample.files["/sys"] = directoryEntry({{"link", Kind::link}, {"vendor", Kind::file}});
    sample.files["/sys/link"] = linkEntry("../sys/vendor");
    sample.files["/sys/vendor"] = fileEntry("0x15ad\n");
    sample.files["/sys/empty"] = fileEntry("");
    sample.files["/sys/closed"] = entryOf(Kind::file, 13);
    sample.files["/dev/sg0"] = entryOf(Kind::other);
    sample.files["/missing"] = entryOf(Kind::absent);
    sample.files["/tmp\xFF"] = fileEntry(std::string("\0\1\2", 3));
    sample.exchanges = {
        {"command-read", {{"text", "uname -a"}}, {{{"output", "a \"b\"\\\n"}, {"status", "0"}}, {}}},
        {"scsi", {{"command", std::string("\x12\0", 2)}}, {}},
    };
    sample.document = "{\"Drives\":[]}\n";
    sample.remarks = {"/sys/x changed meanwhile"};
    return sample;
}
