#include "megaraid/storelib/vokStoreLibRecords.h"

#include <algorithm>

#include "core/base/vokLog.h"

namespace {

constexpr char tag[] = "LSI_INTERF";

}  // namespace

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
    const std::uint64_t told = number(list.count);
    if (told <= list.most) return static_cast<std::size_t>(told);
    VOK_LOG_WARNING(tag, "The %s tells %llu entries; only the %zu that it has room for are read.", what,
                    static_cast<unsigned long long>(told), list.most);
    return list.most;
}
