#include "storage/DiskReplies.h"

namespace {

unsigned char byteOf(int value) {
    return static_cast<unsigned char>(value);
}

// A page of the Device Statistics log with one or two values, all supported and valid.
FakeScsiBytes statisticsPage(int number, int first) {
    FakeScsiBytes page(512);
    page[0] = 1;
    page[2] = byteOf(number);
    page[8] = byteOf(first);
    page[15] = 0xC0;
    return page;
}

}  // namespace

FakeScsiBytes logSense(int page, int length) {
    return {0x4D, 0x00, byteOf(page), 0x00, 0x00, 0x00, 0x00, 0x00, byteOf(length), 0x00};
}

FakeScsiBytes readLogExt(int log, int page) {
    const bool isStatistics = log == 0x04;
    return {0x85,         byteOf(isStatistics ? 0x09 : 0x08),
            0x0E,         0x00,
            0x00,         0x00,
            0x01,         0x00,
            byteOf(log),  0x00,
            byteOf(page), 0x00,
            0x00,         0x00,
            0x2F,         0x00};
}

const FakeScsiBytes sasTemperature = logSense(0x4D, 0x10);
const FakeScsiBytes sasWear = logSense(0x51, 0x10);
const FakeScsiBytes sasHealth = logSense(0x6F, 0x62);
const FakeScsiBytes sasPortPage = {0x1A, 0x08, 0x19, 0x00, 0xFF, 0x00};
const FakeScsiBytes sasRotationRate = {0x12, 0x01, 0xB1, 0x00, 0xFC, 0x00};
const FakeScsiBytes ataIdentify = {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00,
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xEC, 0x00};
const FakeScsiBytes ataHealth = readLogExt(0x03);
const FakeScsiBytes ataManufacturer = readLogExt(0xD0);
const FakeScsiBytes ataTemperature = readLogExt(0x04, 5);
const FakeScsiBytes ataWear = readLogExt(0x04, 7);

void answerAsSas(FakeScsi& node, const SasReplies& replies) {
    FakeScsiBytes characteristics(64);
    characteristics[1] = 0xB1;
    characteristics[3] = 0x3C;
    characteristics[4] = byteOf(replies.rotationRate >> 8);
    characteristics[5] = byteOf(replies.rotationRate);
    FakeScsiBytes exceptions = {0x2F, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x00, 0x00, 0x00, 0x00};
    exceptions[8] = byteOf(replies.exceptions >> 8);
    exceptions[9] = byteOf(replies.exceptions);
    exceptions[10] = byteOf(replies.temperature);

    node.answer(sasPortPage,
                {{0x08, 0x00, 0x00, 0x00, 0x19, 0x06, byteOf(replies.protocol), 0x00, 0x00, 0x00}});
    node.answer(sasRotationRate, {characteristics});
    node.answer(sasTemperature,
                {{0x0D, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x03, 0x02, 0x00, byteOf(replies.temperature), 0x00,
                  0x01, 0x03, 0x02, 0x00, byteOf(replies.maximum)}});
    node.answer(sasWear,
                {{0x11, 0x00, 0x00, 0x08, 0x00, 0x01, 0x03, 0x04, 0x00, 0x00, 0x00, byteOf(replies.wear)}});
    node.answer(sasHealth, {exceptions});
}

void putAtaText(FakeScsiBytes& identify, std::size_t word, std::size_t words, const std::string& text) {
    for (std::size_t i = 0; i < 2 * words; ++i)
        identify.at(2 * word + (i ^ 1)) = i < text.size() ? static_cast<unsigned char>(text[i]) : ' ';
}

void putAtaWord(FakeScsiBytes& identify, std::size_t word, int value) {
    identify.at(2 * word) = byteOf(value);
    identify.at(2 * word + 1) = byteOf(value >> 8);
}

FakeScsiBytes identifyOf(const SataReplies& replies) {
    FakeScsiBytes identify(512);
    putAtaText(identify, 10, 10, replies.serial);
    putAtaText(identify, 23, 4, replies.revision);
    putAtaText(identify, 27, 20, replies.model);
    putAtaWord(identify, 76, replies.capabilities);
    putAtaWord(identify, 80, replies.majorVersion);
    putAtaWord(identify, 217, replies.rotationRate);
    return identify;
}

void answerAsSata(FakeScsi& node, const SataReplies& replies) {
    FakeScsiBytes temperature = statisticsPage(5, replies.temperature);
    temperature[88] = byteOf(replies.maximum);
    temperature[95] = 0xC0;
    FakeScsiBytes errorLog(512);
    errorLog[0] = 1;
    errorLog[2] = byteOf(replies.errors);
    errorLog[3] = byteOf(replies.errors >> 8);

    node.answer(ataIdentify, {identifyOf(replies)});
    node.answer(ataTemperature, {temperature});
    node.answer(ataWear, {statisticsPage(7, replies.wear)});
    node.answer(ataHealth, {errorLog});
}
