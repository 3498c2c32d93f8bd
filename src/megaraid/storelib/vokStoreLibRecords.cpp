#include "megaraid/storelib/vokStoreLibRecords.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "core/base/vokLog.h"

namespace {

constexpr char tag[] = "LSI_INTERF";

}  // namespace

_SL_LIB_CMD_PARAM_T vokCommandBlock(const vokStoreLibCommand& command, void* data) {
    _SL_LIB_CMD_PARAM_T block;
    std::memset(&block, 0, sizeof(block));
    block.commandType = command.type;
    block.command = command.command;
    block.dataSize = command.dataSize;
    block.data = data;
    return block;
}

std::uint64_t vokRecordReader::number(vokRecordNumber field, std::size_t shift) const {
    const std::size_t offset = field.offset + shift;
    if (offset > length_ || length_ - offset < field.width) return 0;
    std::uint64_t value = 0;
    for (std::size_t i = field.width; i > 0; --i)
        value = value << 8 | static_cast<unsigned char>(data_[offset + i - 1]);
    return value;
}

std::string_view vokRecordReader::bytes(vokRecordBytes field) const {
    if (field.offset >= length_) return {};
    return {data_ + field.offset, std::min(field.length, length_ - field.offset)};
}

std::string_view vokRecordReader::text(vokRecordBytes field) const {
    const std::string_view all = bytes(field);
    return all.substr(0, all.find('\0'));
}

std::size_t vokRecordReader::count(const vokRecordEntries& list, const char* what) const {
    const std::uint64_t reported = number(list.count);
    if (reported <= list.most) return static_cast<std::size_t>(reported);
    VOK_LOG_WARNING(tag, "The %s reports %llu entries; only the %zu that it has room for are read.", what,
                    static_cast<unsigned long long>(reported), list.most);
    return list.most;
}

std::vector<std::uint64_t> vokRecordReader::entries(const vokRecordEntries& list, vokRecordNumber field,
                                                    const char* what) const {
    std::vector<std::uint64_t> values(count(list, what));
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = number(field, list.first + i * list.stride);
    return values;
}

std::vector<std::uint32_t> vokControllersOf(const void* list) {
    const auto entries = vokRecordReader(list, vokControllerListCommand.dataSize)
                             .entries(vokControllerListFields::controllers,
                                      vokControllerListFields::controller, "list of controllers");
    return {entries.begin(), entries.end()};
}

std::string vokWithoutSpace(std::string_view text) {
    std::string kept;
    for (const char each : text)
        if (!std::isspace(static_cast<unsigned char>(each))) kept += each;
    return kept;
}
