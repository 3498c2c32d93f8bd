// How the usual disks of a fake host answer the commands that the agent sends them. A test that needs another
// reply sets it on the node afterwards, by the command's name here.
#pragma once

#include <string>

#include "support/FakeScsi.h"

struct SasReplies {
    int rotationRate = 10000;  // 1: no rotation
    int wear = 0;              // in percent
    int temperature = 33;      // in degrees Celsius, and below
    int maximum = 65;
    int exceptions = 0;  // additional sense code and qualifier; 0: healthy
    int protocol = 6;    // SCSI_Protocol_Identifiers
};
void answerAsSas(FakeScsi& node, const SasReplies& replies = {});

struct SataReplies {
    std::string serial = "SATA-0001";  // as IDENTIFY DEVICE has it, padded with blanks
    std::string revision = "FW01";
    std::string model = "SATA DISK";
    int rotationRate = 7200;  // word 217
    int capabilities = 0x0E;  // word 76
    int majorVersion = 0x0FF0;
    int wear = 0;
    int temperature = 33;
    int maximum = 65;
    int errors = 0;  // the index of the SMART error log
};
void answerAsSata(FakeScsi& node, const SataReplies& replies = {});

// The commands.
FakeScsiBytes logSense(int page, int length);  // page with the page control
FakeScsiBytes readLogExt(int log, int page = 0);
extern const FakeScsiBytes sasTemperature;
extern const FakeScsiBytes sasWear;
extern const FakeScsiBytes sasHealth;
extern const FakeScsiBytes sasPortPage;
extern const FakeScsiBytes sasRotationRate;
extern const FakeScsiBytes ataIdentify;
extern const FakeScsiBytes ataHealth;
extern const FakeScsiBytes ataManufacturer;
extern const FakeScsiBytes ataTemperature;
extern const FakeScsiBytes ataWear;

// `text` from a word of IDENTIFY DEVICE on, with the two bytes of each word exchanged, padded with blanks.
void putAtaText(FakeScsiBytes& identify, std::size_t word, std::size_t words, const std::string& text);
void putAtaWord(FakeScsiBytes& identify, std::size_t word, int value);
FakeScsiBytes identifyOf(const SataReplies& replies);
