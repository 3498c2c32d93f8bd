// The records of one type from the firmware's table, owned and typed:
//
//     vokSmBiosRecords<DmiSystemSlot> slots;
//     if (slots.fetch() == 0) for (const DmiSystemSlot& slot : slots) ...
#pragma once

#include <cstddef>

#include "platform/access/vokMallocPtr.h"
#include "platform/firmware/smbios_vmw.h"

template <typename Record>
struct vokSmBiosTypeOf;
template <>
struct vokSmBiosTypeOf<DmiSystemInfo> {
    static constexpr unsigned char value = smbiosSystemInfoType;
};
template <>
struct vokSmBiosTypeOf<DmiSystemSlot> {
    static constexpr unsigned char value = smbiosSystemSlotType;
};
template <>
struct vokSmBiosTypeOf<DmiOnboardDeviceEx> {
    static constexpr unsigned char value = smbiosOnboardDeviceExType;
};

template <typename Record>
class vokSmBiosRecords {
public:
    // Returns 0, or -1 if there are none, like getSmbiosRecordsByType.
    int fetch() {
        void* records = nullptr;
        const int result = getSmbiosRecordsByType(vokSmBiosTypeOf<Record>::value, &records, &count_);
        records_.reset(static_cast<Record*>(records));
        return result;
    }
    const Record* begin() const { return records_.get(); }
    const Record* end() const { return records_.get() + count_; }
    bool empty() const { return count_ == 0; }

private:
    vokMallocPtr<Record> records_;
    std::size_t count_ = 0;
};
