#include "modules/storage/SenseData.h"

#include "modules/storage/ReplyBytes.h"

namespace simhost {

namespace {

constexpr std::size_t fixedSize = 18;
constexpr std::size_t descriptorHead = 8;
constexpr std::size_t ataDescriptor = 14;
constexpr SenseCode abortedCommand = {0x0B, 0x00, 0x00};

ReplyBytes fixedSense(SenseForm form, const SenseCode& code) {
    ReplyBytes sense(fixedSize);
    sense.put(0, form == SenseForm::fixedValid ? 0xF0 : 0x70).put(2, code.key).put(7, fixedSize - 8);
    return sense.put(12, code.code).put(13, code.qualifier);
}

ReplyBytes descriptorSense(const SenseCode& code, std::size_t descriptors) {
    ReplyBytes sense(descriptorHead + descriptors);
    sense.put(0, 0x72).put(1, code.key).put(2, code.code).put(3, code.qualifier);
    return sense.put(7, descriptors);
}

}  // namespace

std::string senseData(SenseForm form, const SenseCode& code) {
    return (form == SenseForm::descriptor ? descriptorSense(code, 0) : fixedSense(form, code)).bytes();
}

std::string ataSenseData(SenseForm form, const AtaResult& result) {
    if (form != SenseForm::descriptor) {
        ReplyBytes sense = fixedSense(form, abortedCommand);
        sense.put(3, result.error).put(4, result.status).put(5, result.device).put(6, result.count);
        return sense.putLittle(9, 3, result.address).bytes();
    }
    ReplyBytes sense = descriptorSense(abortedCommand, ataDescriptor);
    sense.put(8, 0x09).put(9, ataDescriptor - 2).put(11, result.error).putBig(12, 2, result.count);
    // The lower and the upper half of the address alternate.
    for (std::size_t i = 0; i < 3; ++i)
        sense.put(14 + 2 * i, result.address >> (24 + 8 * i)).put(15 + 2 * i, result.address >> (8 * i));
    return sense.put(20, result.device).put(21, result.status).bytes();
}

}  // namespace simhost
