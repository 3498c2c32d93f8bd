#include "recording/Archive.h"

#include <algorithm>
#include <new>
#include <utility>

#include "core/base/vokChecksum.h"
#include "recording/ArchiveText.h"
#include "recording/ExchangeText.h"
#include "recording/Manifest.h"
#include "recording/Paths.h"
#include "recording/Ustar.h"

namespace recording {
namespace {

MemberFacts factsOf(const std::string& name, std::string_view content) {
    return {name, content.size(), vokChecksum(content.data(), content.size())};
}

// Takes an archive apart, member after member.
class ArchiveReader {
public:
    ArchiveReader(std::string_view bytes, const ArchiveLimits& limits, std::string& error)
        : bytes_(bytes), tar_(bytes), limits_(limits), error_(error) {}

    std::optional<Recording> read() {
        const bool done = checkSize() && readFirst() && checkList() && readContents() && checkEnd() &&
                          checkPaths(recording_.files, limits_.pathLength, error_);
        if (!done) return std::nullopt;
        return std::move(recording_);
    }

private:
    bool refuse(const std::string& sentence) {
        if (error_.empty()) error_ = sentence;
        return false;
    }

    bool checkSize() {
        if (bytes_.size() <= limits_.bytes) return true;
        return refuse("The archive is longer than " + std::to_string(limits_.bytes) + " bytes.");
    }

    bool readFirst() {
        const auto first = tar_.next(error_);
        if (!first || first->name != manifestMember)
            return refuse(std::string("The archive doesn't begin with ") + manifestMember + ".");
        if (!readManifest(first->content, recording_, members_, error_)) return false;
        return checkTime(*first);
    }

    // The members that the manifest lists are those that follow from its files, in their order.
    bool checkList() {
        if (members_.size() > limits_.members)
            return refuse("The archive has more than " + std::to_string(limits_.members) + " members.");
        content_ = contentMembers(recording_.files);
        std::vector<std::string_view> expected{documentMember, exchangesMember};
        for (const auto& [path, name] : content_) expected.emplace_back(name);
        for (std::size_t index = 0; index < std::max(expected.size(), members_.size()); ++index) {
            if (index == members_.size())
                return refuse("manifest.json doesn't list the member " + shownText(expected[index]) + ".");
            if (index == expected.size() || members_[index].name != expected[index])
                return refuse("manifest.json lists the member " + shownText(members_[index].name) +
                              " for which it has no file, or out of its order.");
        }
        return true;
    }

    bool readContents() {
        auto file = content_.begin();
        for (std::size_t index = 0; index < members_.size(); ++index) {
            const auto member = tar_.next(error_);
            if (!member) return refuse("The member " + shownText(members_[index].name) + " is missing.");
            if (!checkMember(*member, members_[index])) return false;
            if (index == 0) {
                recording_.document = member->content;
            } else if (index == 1) {
                if (!readExchanges(member->content, recording_.exchanges, error_)) return false;
            } else {
                recording_.files[file->first].content = member->content;
                ++file;
            }
        }
        return true;
    }

    bool checkMember(const TarMember& member, const MemberFacts& expected) {
        if (member.name != expected.name)
            return refuse("The member " + shownText(member.name) + " is where " + shownText(expected.name) +
                          " is expected.");
        const MemberFacts facts = factsOf(member.name, member.content);
        if (facts.bytes != expected.bytes)
            return refuse("The member " + shownText(member.name) + " has " + std::to_string(facts.bytes) +
                          " bytes; manifest.json lists " + std::to_string(expected.bytes) + ".");
        if (facts.checksum != expected.checksum)
            return refuse("The member " + shownText(member.name) +
                          " has another checksum than manifest.json lists.");
        return checkTime(member);
    }

    bool checkTime(const TarMember& member) {
        if (member.time == memberTime(recording_.time)) return true;
        return refuse("The member " + shownText(member.name) + " has another time than the recording.");
    }

    bool checkEnd() {
        const auto extra = tar_.next(error_);
        if (extra) return refuse("The member " + shownText(extra->name) + " is not in manifest.json.");
        return error_.empty();
    }

    std::string_view bytes_;
    UstarReader tar_;
    const ArchiveLimits& limits_;
    std::string& error_;
    Recording recording_;
    std::vector<MemberFacts> members_;
    std::map<std::string, std::string> content_;
};

}  // namespace

std::string writeArchive(const Recording& recording) {
    const std::string exchanges = writeExchanges(recording.exchanges);
    std::vector<std::pair<std::string, const std::string*>> contents{{documentMember, &recording.document},
                                                                     {exchangesMember, &exchanges}};
    for (auto& [path, name] : contentMembers(recording.files))
        contents.emplace_back(name, &recording.files.at(path).content);
    std::vector<MemberFacts> members;
    members.reserve(contents.size());
    for (const auto& [name, content] : contents) members.push_back(factsOf(name, *content));
    std::string tar;
    appendMember(tar, manifestMember, writeManifest(recording, members), recording.time);
    for (const auto& [name, content] : contents) appendMember(tar, name, *content, recording.time);
    appendEnd(tar);
    return tar;
}

std::optional<Recording> readArchive(std::string_view bytes, std::string& error,
                                     const ArchiveLimits& limits) {
    error.clear();
    try {
        return ArchiveReader(bytes, limits, error).read();
    } catch (const std::bad_alloc&) {
        error = "There is not enough memory to read the archive.";
        return std::nullopt;
    }
}

}  // namespace recording
