#include "recording/Manifest.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <utility>

#include "recording/ArchiveText.h"
#include "recording/Ustar.h"

namespace recording {
namespace {

constexpr std::string_view formatName = "recorded host";
constexpr std::string_view filesFolder = "files";
constexpr std::string_view numberedFolder = "numbered/";

constexpr std::array<std::pair<FileEntry::Kind, std::string_view>, 5> kindNames{{
    {FileEntry::Kind::absent, "absent"},
    {FileEntry::Kind::file, "file"},
    {FileEntry::Kind::directory, "directory"},
    {FileEntry::Kind::link, "link"},
    {FileEntry::Kind::other, "other"},
}};

std::string quoted(std::string_view text) {
    std::string out;
    appendText(out, text);
    return out;
}

std::string nameOf(FileEntry::Kind kind) {
    for (const auto& [each, name] : kindNames)
        if (each == kind) return quoted(name);
    return {};
}

FileEntry::Kind readKind(TextReader& in) {
    for (const auto& [kind, name] : kindNames)
        if (in.next(quoted(name))) return kind;
    in.fail("absent, file, directory, link or other");
    return FileEntry::Kind::absent;
}

bool isPlainName(std::string_view path) {
    return std::all_of(path.begin(), path.end(),
                       [](char each) { return each >= ' ' && each <= '~' && each != '\\'; });
}

void appendEntry(std::string& out, const std::string& path, const FileEntry& entry,
                 const std::string& member) {
    out += "{\"path\": " + quoted(path) + ", \"kind\": " + nameOf(entry.kind);
    if (entry.error != 0) out += ", \"error\": " + std::to_string(entry.error);
    if (!entry.target.empty()) out += ", \"target\": " + quoted(entry.target);
    if (!entry.children.empty()) {
        std::string_view separator = ", \"children\": {";
        for (const auto& [name, kind] : entry.children) {
            out += std::string(separator) + quoted(name) + ": " + nameOf(kind);
            separator = ", ";
        }
        out += '}';
    }
    if (!member.empty()) out += ", \"member\": " + quoted(member);
    if (entry.asked) out += ", \"asked\": true";
    out += '}';
}

// What is sorted in the recording has to be so in the archive, and is there once.
template <class Value>
Value* insertNext(std::map<std::string, Value>& map, std::string key, TextReader& in) {
    if (in.failed()) return nullptr;
    if (!map.empty() && !(map.rbegin()->first < key)) {
        in.fail("names in ascending order, each once, not " + shownText(key));
        return nullptr;
    }
    return &map.emplace_hint(map.end(), std::move(key), Value())->second;
}

void readChildren(TextReader& in, std::map<std::string, FileEntry::Kind>& children) {
    do {
        FileEntry::Kind* const kind = insertNext(children, in.value(), in);
        in.take(": ");
        const FileEntry::Kind read = readKind(in);
        if (kind) *kind = read;
    } while (in.next(", "));
    in.take("}");
}

void readEntry(TextReader& in, std::map<std::string, FileEntry>& files,
               std::map<std::string, std::string>& members) {
    in.take("{\"path\": ");
    const std::string path = in.value();
    in.take(", \"kind\": ");
    FileEntry entry;
    entry.kind = readKind(in);
    if (in.next(", \"error\": "))
        entry.error = static_cast<int>(in.number(1, std::numeric_limits<int>::max()));
    if (in.next(", \"target\": ")) {
        entry.target = in.value();
        if (entry.target.empty()) in.fail("a target before it");
    }
    if (in.next(", \"children\": {")) readChildren(in, entry.children);
    if (in.next(", \"member\": ")) members[path] = in.value();
    entry.asked = in.next(", \"asked\": true");
    in.take("}");
    if (FileEntry* const place = insertNext(files, path, in)) *place = std::move(entry);
}

// A list in brackets or braces, an element a line; empty without a line. `read` reads one element.
template <class Read>
void readList(TextReader& in, std::string_view name, std::string_view brackets, Read read) {
    in.take("  \"" + std::string(name) + "\": " + brackets[0]);
    std::string_view lineEnd = "\n    ";
    if (in.next(lineEnd)) {
        do read();
        while (in.next(",\n    "));
        in.take("\n  ");
    }
    in.take(brackets.substr(1));
}

class ListWriter {
public:
    ListWriter(std::string& out, std::string_view name, std::string_view brackets)
        : out_(out), closing_(brackets.substr(1)) {
        out_ += "  \"" + std::string(name) + "\": " + brackets[0];
    }
    void element() {
        out_ += empty_ ? "\n    " : ",\n    ";
        empty_ = false;
    }
    void close(std::string_view after) {
        if (!empty_) out_ += "\n  ";
        out_ += closing_;
        out_ += after;
    }

private:
    std::string& out_;
    std::string_view closing_;
    bool empty_ = true;
};

std::string checksumText(std::uint32_t checksum) {
    char text[9];
    std::snprintf(text, sizeof(text), "%08x", static_cast<unsigned>(checksum));
    return text;
}

std::uint32_t readChecksum(TextReader& in) {
    const std::string text = in.value();
    std::uint32_t checksum = 0;
    for (const char each : text) {
        const bool digit = each >= '0' && each <= '9';
        checksum = checksum << 4 | static_cast<unsigned>(digit ? each - '0' : each - 'a' + 10);
    }
    if (checksumText(checksum) != text) in.fail("eight hexadecimal digits before it");
    return checksum;
}

// The version comes first, so that a manifest of another one is told apart from a broken one.
bool readVersion(TextReader& in, std::string& error) {
    in.take("{\n  \"format\": " + quoted(formatName) + ",\n  \"version\": ");
    const std::int64_t version = in.number(1, std::numeric_limits<int>::max());
    in.take(",\n");
    if (!in.failed() && version != Recording::version)
        error = "The archive has version " + std::to_string(version) + " of the form; this program reads " +
                "version " + std::to_string(Recording::version) + ".";
    return !in.failed() && error.empty();
}

void readFacts(TextReader& in, Recording& recording) {
    in.take("  \"agent\": ");
    recording.agentVersion = in.value();
    in.take(",\n  \"abi\": ");
    recording.abi = in.value();
    in.take(",\n  \"time\": ");
    recording.time =
        in.number(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max());
    in.take(",\n  \"redacted\": ");
    recording.redacted = in.next("true");
    if (!recording.redacted) in.take("false");
    in.take(",\n");
    readList(in, "replaced", "{}", [&] {
        unsigned* const count = insertNext(recording.replaced, in.value(), in);
        in.take(": ");
        const auto read = static_cast<unsigned>(in.number(0, std::numeric_limits<unsigned>::max()));
        if (count) *count = read;
    });
    in.take(",\n");
    readList(in, "remarks", "[]", [&] { recording.remarks.push_back(in.value()); });
    in.take(",\n");
}

MemberFacts readMember(TextReader& in) {
    MemberFacts member;
    in.take("{\"name\": ");
    member.name = in.value();
    in.take(", \"bytes\": ");
    member.bytes = static_cast<std::uint64_t>(in.number(0, std::numeric_limits<std::int64_t>::max()));
    in.take(", \"crc32\": ");
    member.checksum = readChecksum(in);
    in.take("}");
    return member;
}

// Numbered members only: the others have the name that follows from the path.
std::map<std::string, std::string> numberedMembers(const std::map<std::string, FileEntry>& files) {
    std::map<std::string, std::string> numbered;
    for (auto& [path, member] : contentMembers(files))
        if (member.compare(0, numberedFolder.size(), numberedFolder) == 0) numbered[path] = member;
    return numbered;
}

}  // namespace

std::map<std::string, std::string> contentMembers(const std::map<std::string, FileEntry>& files) {
    std::map<std::string, std::string> members;
    std::size_t numbered = 0;
    for (const auto& [path, entry] : files) {
        if (entry.kind != FileEntry::Kind::file || entry.error != 0) continue;
        std::string name = std::string(filesFolder) + path;
        if (!isPlainName(name) || !ustarHolds(name))
            name = std::string(numberedFolder) + std::to_string(++numbered);
        members.emplace_hint(members.end(), path, std::move(name));
    }
    return members;
}

std::string writeManifest(const Recording& recording, const std::vector<MemberFacts>& members) {
    std::string out = "{\n  \"format\": " + quoted(formatName) +
                      ",\n  \"version\": " + std::to_string(Recording::version) + ",\n";
    out += "  \"agent\": " + quoted(recording.agentVersion) + ",\n  \"abi\": " + quoted(recording.abi) +
           ",\n  \"time\": " + std::to_string(recording.time) +
           ",\n  \"redacted\": " + (recording.redacted ? "true" : "false") + ",\n";
    ListWriter replaced(out, "replaced", "{}");
    for (const auto& [kind, count] : recording.replaced) {
        replaced.element();
        out += quoted(kind) + ": " + std::to_string(count);
    }
    replaced.close(",\n");
    ListWriter remarks(out, "remarks", "[]");
    for (const std::string& remark : recording.remarks) {
        remarks.element();
        out += quoted(remark);
    }
    remarks.close(",\n");
    const auto numbered = numberedMembers(recording.files);
    ListWriter files(out, "files", "[]");
    for (const auto& [path, entry] : recording.files) {
        files.element();
        const auto member = numbered.find(path);
        appendEntry(out, path, entry, member == numbered.end() ? "" : member->second);
    }
    files.close(",\n");
    ListWriter list(out, "members", "[]");
    for (const MemberFacts& member : members) {
        list.element();
        out += "{\"name\": " + quoted(member.name) + ", \"bytes\": " + std::to_string(member.bytes) +
               ", \"crc32\": " + quoted(checksumText(member.checksum)) + "}";
    }
    list.close("\n}\n");
    return out;
}

bool readManifest(std::string_view text, Recording& recording, std::vector<MemberFacts>& members,
                  std::string& error) {
    TextReader in(text);
    std::map<std::string, std::string> numbered;
    if (readVersion(in, error)) {
        readFacts(in, recording);
        readList(in, "files", "[]", [&] { readEntry(in, recording.files, numbered); });
        in.take(",\n");
        readList(in, "members", "[]", [&] { members.push_back(readMember(in)); });
        in.take("\n}\n");
        if (!in.atEnd()) in.fail("the end");
    }
    if (in.failed()) error = "manifest.json, " + in.failure() + ".";
    if (error.empty() && numbered != numberedMembers(recording.files))
        error = "manifest.json numbers other members than those whose paths no member name holds.";
    return error.empty();
}

}  // namespace recording
