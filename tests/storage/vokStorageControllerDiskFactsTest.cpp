#include <gtest/gtest.h>
#include <cerrno>
#include <utility>

#include "storage/DiskWalk.h"

namespace vokStorageControllerDiskFactsTest {
namespace {

// --- what sysfs says ---

TEST_F(DiskWalk, TheRecordOfASasDisk) {
    addPort();
    FakeDisk fake;
    fake.serial = "  SERIAL-0001 ";
    addSasDisk(fake);
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getOSSCSILink(), "0:0:0:0");
    EXPECT_EQ(disk.getOSDeviceName(), "/dev/sg0");
    EXPECT_EQ(disk.getSerialNumber(), "SERIAL-0001");
    EXPECT_EQ(disk.getModel(), "SAS DISK");
    EXPECT_EQ(disk.getPartNumber(), "");
    EXPECT_EQ(disk.getCapacityBytes(), 1073741824u);
    EXPECT_EQ(disk.getRevision(), "0001");
    EXPECT_EQ(disk.getProtocol(), "SAS");
    EXPECT_EQ(disk.getMediaType(), "HDD");
    EXPECT_EQ(disk.getManufacturer(), "MAKER");
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_EQ(disk.getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(disk.getATAMajorRevision(), 0);
    EXPECT_EQ(disk.getOSSGHandle(), -1);
    EXPECT_FALSE(disk.getDeviceMissing());
    for (const char* const line :
         {"0:0:0:0: Disk serialnum from page 80: SERIAL-0001", "0:0:0:0: Disk Model SAS DISK",
          "0:0:0:0: Drv size 2097152 Blocks, 1073741824 bytes", "0:0:0:0: SCSI PhyDrvFWRev 0001",
          "0:0:0:0: Device /dev/sg0: Protocol 6 (SAS)",
          "0:0:0:0: Disk Device [/dev/sg0] @ slot [-1] on HBA pciloc=[0000:3b:00.0]: "
          "phyloc=[FFFFFFFFFFFFFFFF] (slot=[-1], ret=[0])"})
        EXPECT_TRUE(logged(line)) << line;
}

TEST_F(DiskWalk, WithoutPage80TheSerialNumberIsThatOfTheInquiry) {
    addPort();
    for (const char* const page80 : {"", "    "}) {
        FakeDisk fake;
        fake.serial = page80;
        fake.inquirySerial = " INQUIRY-0002       ";
        addSasDisk(fake);
        EXPECT_EQ(walkOne().getSerialNumber(), "INQUIRY-0002");
        tree.removeDisk(link);
    }
    EXPECT_EQ(timesLogged("0:0:0:0: Disk serialnum from page 80: "), 1);
    EXPECT_EQ(timesLogged("0:0:0:0: Disk serialnum from inquiry: INQUIRY-0002"), 2);
}

TEST_F(DiskWalk, OfTwoSerialNumbersThatOfPage80Counts) {
    addPort();
    FakeDisk fake;
    fake.inquirySerial = "INQUIRY-0002";
    addSasDisk(fake);
    EXPECT_EQ(walkOne().getSerialNumber(), "SERIAL-0001");
}

TEST_F(DiskWalk, WhatSysfsDoesNotSayStaysEmpty) {
    addPort();
    FakeDisk fake;
    fake.serial = "";
    fake.block = "";
    addSasDisk(fake);
    for (const char* const attribute : {"model", "rev", "vendor"}) remove(attribute);
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSerialNumber(), "");
    EXPECT_EQ(disk.getModel(), "");
    EXPECT_EQ(disk.getPartNumber(), "");
    EXPECT_EQ(disk.getRevision(), "");
    EXPECT_EQ(disk.getCapacityBytes(), 0u);
    EXPECT_EQ(disk.getManufacturer(), "");
    EXPECT_TRUE(logged("Unable to fetch manufacturer name for scsi device : 0:0:0:0"));
}

TEST_F(DiskWalk, ACapacityThatCannotBeReadStays0) {
    addPort();
    addSasDisk();
    remove("block/sda/size");
    EXPECT_EQ(walkOne().getCapacityBytes(), 0u);
    EXPECT_TRUE(logged("0:0:0:0: Unable to determine the capacity."));
}

TEST_F(DiskWalk, ThePartNumberIsThatOfTheModelOnThisPlatform) {
    start(firstFamily);
    addPort();
    FakeDisk fake;
    fake.model = "MEV0300EH10K    ";
    addSasDisk(fake);
    EXPECT_EQ(walkOne().getPartNumber(), "MEV-3000-101A");
}

// --- the protocol ---

TEST_F(DiskWalk, TheProtocolIsThatOfThePortPage) {
    addPort();
    FakeScsi& node = addSasDisk();
    const std::vector<std::pair<int, std::string>> rows = {
        {0, "Fibre Channel"}, {4, "SCSI RDMA Protocol"}, {6, "SAS"}, {11, "0xb"}, {14, "0xe"}};
    for (const auto& [protocol, name] : rows) {
        SasReplies replies;
        replies.protocol = protocol;
        answerAsSas(node, replies);
        EXPECT_EQ(walkOne().getProtocol(), name);
        EXPECT_TRUE(
            logged("0:0:0:0: Device /dev/sg0: Protocol " + std::to_string(protocol) + " (" + name + ")"));
    }
    EXPECT_FALSE(logged("0:0:0:0: Unable to identify disk protocol."));
}

TEST_F(DiskWalk, ADiskOfNoParticularProtocolIsKept) {
    addPort();
    FakeScsi& node = addSasDisk();
    SasReplies replies;
    replies.protocol = 15;
    answerAsSas(node, replies);
    EXPECT_EQ(walkOne().getProtocol(), "0xf");
    EXPECT_EQ(timesLogged("0:0:0:0: Unable to identify disk protocol."), 1);
}

TEST_F(DiskWalk, ADiskWithoutAPortPageIsKept) {
    addPort();
    FakeScsi& node = addSasDisk();
    node.answer(sasPortPage, FakeScsiReply::checkCondition(5, 0x24, 0));
    EXPECT_EQ(walkOne().getProtocol(), "");
    EXPECT_EQ(timesLogged("0:0:0:0: Unable to identify disk protocol."), 1);
}

TEST_F(DiskWalk, OnlyAVendorOfExactlyAtaAndFiveBlanksIsAnAtaDisk) {
    addPort();
    FakeScsi& node = addAtaDisk();
    EXPECT_EQ(walkOne().getProtocol(), "SATA");
    EXPECT_TRUE(logged("0:0:0:0: Device /dev/sg0: Found an ATA disk"));
    answerAsSas(node);
    for (const char* const vendor : {"ATA", "ATA    ", "ATA      ", " ATA    ", "ata     "}) {
        write("vendor", std::string(vendor) + "\n");
        EXPECT_EQ(walkOne().getProtocol(), "SAS") << vendor;
    }
}

TEST_F(DiskWalk, ADiskWithTheProtocolAtaOfThePortPageIsIdentifiedAsOne) {
    addPort();
    FakeScsi& node = addSasDisk();
    SasReplies replies;
    replies.protocol = 8;
    answerAsSas(node, replies);
    answerAsSata(node);
    EXPECT_EQ(walkOne().getProtocol(), "SATA");
}

// --- ATA and SCSI ---

TEST_F(DiskWalk, TheRecordOfASataDisk) {
    addPort();
    FakeScsi& node = addAtaDisk();
    write("rev", "OLD1\n");
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSerialNumber(), "SATA-0001");
    EXPECT_EQ(disk.getRevision(), "FW01");
    EXPECT_EQ(disk.getModel(), "SATA DISK");
    EXPECT_EQ(disk.getPartNumber(), "");
    EXPECT_EQ(disk.getProtocol(), "SATA");
    EXPECT_EQ(disk.getMediaType(), "HDD");
    EXPECT_EQ(disk.getATAMajorRevision(), 0x0FF0);
    EXPECT_EQ(disk.getManufacturer(), "ATA");
    EXPECT_TRUE(logged("Gathering inventory from ATA device."));
    EXPECT_TRUE(
        logged("0:0:0:0: ATA Info: Serial#=SATA-0001 FW=FW01 Model=SATA DISK Part#= NMRR=0x1C20 "
               "Capability=0xE ATA_Rev=0xFF0 [ACS-2 or later]"));
    EXPECT_EQ(commandsTo(node), (std::vector<FakeScsiBytes>{ataIdentify, ataManufacturer}));
    EXPECT_EQ(node.requests()[0].length, 512u);
}

TEST_F(DiskWalk, OfASasDiskNoMoreThanTwoPagesAreAsked) {
    addPort();
    FakeScsi& node = addSasDisk();
    walk();
    EXPECT_EQ(commandsTo(node), (std::vector<FakeScsiBytes>{sasPortPage, sasRotationRate}));
}

TEST_F(DiskWalk, ThePartNumberOfASataDiskIsThatOfTheIdentifiedModel) {
    start(secondFamily);
    addPort();
    SataReplies replies;
    replies.model = "MEV0600EH10K";
    addAtaDisk(replies);
    EXPECT_EQ(walkOne().getPartNumber(), "MEV-3000-502A");
}

TEST_F(DiskWalk, ASataDiskThatCannotBeIdentifiedKeepsWhatSysfsSays) {
    addPort();
    FakeScsi& node = addAtaDisk();
    node.answer(ataIdentify, FakeScsiReply::checkCondition(11, 0, 0));
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSerialNumber(), "SERIAL-0001");
    EXPECT_EQ(disk.getRevision(), "0001");
    EXPECT_EQ(disk.getModel(), "SATA DISK");
    EXPECT_EQ(disk.getProtocol(), "ATA");
    EXPECT_EQ(disk.getMediaType(), "");
    EXPECT_EQ(disk.getATAMajorRevision(), 0);
    EXPECT_EQ(disk.getManufacturer(), "ATA");
    EXPECT_FALSE(logged("Gathering inventory from ATA device."));
}

TEST_F(DiskWalk, IdentifyTextsMayBeFilledFromEitherSideWithBlanksOrNuls) {
    addPort();
    FakeScsi& node = addAtaDisk();
    const std::vector<std::string> fillings = {"SERIAL", "           SERIAL", std::string(9, '\0') + "SERIAL",
                                               std::string("SERIAL\0\0\0", 9),
                                               std::string("\0\0  \0SERIAL  \0", 14)};
    for (const std::string& text : fillings) {
        FakeScsiBytes identify = identifyOf({});
        putAtaText(identify, 10, 10, text);
        node.answer(ataIdentify, {identify});
        EXPECT_EQ(walkOne().getSerialNumber(), "SERIAL");
    }
}

TEST_F(DiskWalk, ABlankIdentifyTextIsEmpty) {
    addPort();
    FakeScsi& node = addAtaDisk();
    for (const char filling : {' ', '\0'}) {
        FakeScsiBytes identify = identifyOf({});
        putAtaText(identify, 10, 10, std::string(20, filling));
        putAtaText(identify, 23, 4, std::string(8, filling));
        putAtaText(identify, 27, 20, std::string(40, filling));
        node.answer(ataIdentify, {identify});
        const vokDiskInfo disk = walkOne();
        EXPECT_EQ(disk.getSerialNumber(), "");
        EXPECT_EQ(disk.getRevision(), "");
        EXPECT_EQ(disk.getModel(), "");
    }
}

TEST_F(DiskWalk, IdentifyTextsHaveTheirFullLength) {
    addPort();
    SataReplies replies;
    replies.serial = "ABCDEFGHIJKLMNOPQRST";
    replies.revision = "FIRMWARE";
    replies.model = "A MODEL OF EXACTLY FORTY CHARACTERS, 40.";
    addAtaDisk(replies);
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSerialNumber(), "ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(disk.getRevision(), "FIRMWARE");
    EXPECT_EQ(disk.getModel(), "A MODEL OF EXACTLY FORTY CHARACTERS, 40.");
}

// The serial number ends at byte 40, the revision at 54, the model at 94.
TEST_F(DiskWalk, AnIdentifyTextThatIsCutIsNotTaken) {
    addPort();
    FakeScsi& node = addAtaDisk();
    const auto identifiedWith = [&](std::size_t size) {
        FakeScsiBytes identify = identifyOf({});
        identify.resize(size);
        node.answer(ataIdentify, {identify});
        const vokDiskInfo disk = walkOne();
        return disk.getSerialNumber() + "," + disk.getRevision() + "," + disk.getModel();
    };
    write("model", "SYSFS MODEL\n");
    EXPECT_EQ(identifiedWith(0), "SERIAL-0001,0001,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(39), "SERIAL-0001,0001,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(40), "SATA-0001,0001,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(53), "SATA-0001,0001,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(54), "SATA-0001,FW01,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(93), "SATA-0001,FW01,SYSFS MODEL");
    EXPECT_EQ(identifiedWith(94), "SATA-0001,FW01,SATA DISK");
}

// Word 217 ends at byte 436, word 76 at 154, word 80 at 162.
TEST_F(DiskWalk, AnIdentifyWordThatIsCutIsNotTaken) {
    addPort();
    FakeScsi& node = addAtaDisk();
    SataReplies replies;
    replies.rotationRate = 1;
    const auto identifiedWith = [&](std::size_t size) {
        FakeScsiBytes identify = identifyOf(replies);
        identify.resize(size);
        node.answer(ataIdentify, {identify});
        const vokDiskInfo disk = walkOne();
        return disk.getProtocol() + "," + std::to_string(disk.getATAMajorRevision()) + "," +
               disk.getMediaType();
    };
    EXPECT_EQ(identifiedWith(153), "ATA,0,");
    EXPECT_EQ(identifiedWith(154), "SATA,0,");
    EXPECT_EQ(identifiedWith(161), "SATA,0,");
    EXPECT_EQ(identifiedWith(162), "SATA,4080,");
    EXPECT_EQ(identifiedWith(435), "SATA,4080,");
    EXPECT_EQ(identifiedWith(436), "SATA,4080,SSD");
}

const std::vector<std::pair<int, std::string>> mediaTypes = {
    {0, ""}, {1, "SSD"}, {2, ""}, {0x400, ""}, {0x401, "HDD"}, {7200, "HDD"}, {0xFFFE, "HDD"}, {0xFFFF, ""},
};

TEST_F(DiskWalk, TheMediaTypeOfASataDiskIsThatOfWord217) {
    addPort();
    FakeScsi& node = addAtaDisk();
    for (const auto& [rate, type] : mediaTypes) {
        SataReplies replies;
        replies.rotationRate = rate;
        answerAsSata(node, replies);
        EXPECT_EQ(walkOne().getMediaType(), type) << rate;
    }
}

TEST_F(DiskWalk, TheMediaTypeOfAScsiDiskIsThatOfItsRotationRate) {
    addPort();
    FakeScsi& node = addSasDisk();
    for (const auto& [rate, type] : mediaTypes) {
        SasReplies replies;
        replies.rotationRate = rate;
        answerAsSas(node, replies);
        EXPECT_EQ(walkOne().getMediaType(), type) << rate;
    }
    EXPECT_TRUE(logged("0:0:0:0: Unable to determine media type (0x400)."));
    EXPECT_TRUE(logged("0:0:0:0: Unable to determine media type (0xffff)."));
    node.answer(sasRotationRate, FakeScsiReply::ioctlFails(EIO));
    EXPECT_EQ(walkOne().getMediaType(), "");
    EXPECT_TRUE(logged("0:0:0:0: Unable to determine media type (0xfffffffe)."));
}

TEST_F(DiskWalk, Word76SaysWhetherAnAtaDiskIsSata) {
    addPort();
    FakeScsi& node = addAtaDisk();
    const std::vector<std::pair<int, std::string>> rows = {
        {0, "ATA"}, {0xFFFF, "ATA"}, {1, "SATA"}, {0x0100, "SATA"}, {0xFFFE, "SATA"}};
    for (const auto& [word, protocol] : rows) {
        SataReplies replies;
        replies.capabilities = word;
        answerAsSata(node, replies);
        EXPECT_EQ(walkOne().getProtocol(), protocol) << word;
    }
}

TEST_F(DiskWalk, Word80SaysWhichStandardAnAtaDiskHas) {
    addPort();
    FakeScsi& node = addAtaDisk();
    const std::vector<std::pair<int, std::string>> rows = {{0x01FF, "ATA_Rev=0x1FF [Non ACS-2]"},
                                                           {0x0200, "ATA_Rev=0x200 [ACS-2 or later]"},
                                                           {0x8000, "ATA_Rev=0x8000 [ACS-2 or later]"}};
    for (const auto& [word, text] : rows) {
        SataReplies replies;
        replies.majorVersion = word;
        answerAsSata(node, replies);
        EXPECT_EQ(walkOne().getATAMajorRevision(), word);
        EXPECT_TRUE(
            logged("0:0:0:0: ATA Info: Serial#=SATA-0001 FW=FW01 Model=SATA DISK Part#= NMRR=0x1C20 "
                   "Capability=0xE " +
                   text));
    }
}

// --- the manufacturer ---

FakeScsiBytes manufacturerLog(std::size_t size, const std::string& mark = "MVD0") {
    FakeScsiBytes log(512);
    log[0] = 0xD0;
    for (std::size_t i = 0; i < mark.size(); ++i) log[24 + i] = static_cast<unsigned char>(mark[i]);
    log.resize(size);
    return log;
}

TEST_F(DiskWalk, AnAtaDiskWithTheMarkInLogD0IsOfMev) {
    addPort();
    FakeScsi& node = addAtaDisk();
    const std::vector<std::pair<FakeScsiReply, std::string>> rows = {
        {{manufacturerLog(512)}, "MEV"},     {{manufacturerLog(28)}, "MEV"},
        {{manufacturerLog(27)}, "ATA"},      {{manufacturerLog(512, "MVD1")}, "ATA"},
        {{manufacturerLog(512, "")}, "ATA"}, {FakeScsiReply::checkCondition(11, 0, 0), "ATA"},
    };
    for (const auto& [reply, manufacturer] : rows) {
        node.answer(ataManufacturer, reply);
        EXPECT_EQ(walkOne().getManufacturer(), manufacturer);
    }
}

TEST_F(DiskWalk, AVendorThatHoldsAtaIsAskedForItsManufacturerToo) {
    addPort();
    FakeScsi& node = addSasDisk();
    write("vendor", "XATAX   \n");
    node.answer(ataManufacturer, {manufacturerLog(28)});
    EXPECT_EQ(walkOne().getManufacturer(), "MEV");
    write("vendor", "XAT AX  \n");
    EXPECT_EQ(walkOne().getManufacturer(), "XAT AX");
}

TEST_F(DiskWalk, AManufacturerThatIsKnownAlreadyStays) {
    addPort();
    addSasDisk();
    vokDiskInfo disk;
    disk.setOSSCSILink(link);
    std::string manufacturer = "KNOWN";
    controller->discoverPhysicalDiskManufacturer(disk, manufacturer);
    EXPECT_EQ(manufacturer, "KNOWN");
}

// --- the place ---

TEST_F(DiskWalk, TheLocationOfADiskIsThatOfItsBay) {
    start(firstFamily);
    addPort();
    addSasDisk();
    controller->slots[link] = "2";
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSlot(), "2");
    EXPECT_EQ(disk.getPhysicalLocation(), firstBayLocation);
    EXPECT_TRUE(
        logged("0:0:0:0: Disk Device [/dev/sg0] @ slot [2] on HBA pciloc=[0000:3b:00.0]: "
               "phyloc=[0000000000003802] (slot=[2], ret=[0])"));
}

TEST_F(DiskWalk, ASlotThatIsNoNumberHasNoLocation) {
    start(firstFamily);
    addPort();
    addSasDisk();
    const std::vector<std::pair<std::string, int>> rows = {{"2x", -7}, {"", -6}, {"99999999999", -2}};
    for (const auto& [slot, result] : rows) {
        controller->slots[link] = slot;
        EXPECT_EQ(walkOne().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
        EXPECT_TRUE(logged("0:0:0:0: Disk Device [/dev/sg0] @ slot [" + slot +
                           "] on HBA pciloc=[0000:3b:00.0]: phyloc=[FFFFFFFFFFFFFFFF] (slot=[-1], ret=[" +
                           std::to_string(result) + "])"));
    }
}

// The text "-1" is a number, of a bay that no platform has.
TEST_F(DiskWalk, TheDisksOfAGenericControllerHaveNoLocationOnTheFirstPlatform) {
    start(firstFamily);
    addPort();
    addSasDisk();
    const vokDiskInfo disk = walkOne();
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_EQ(disk.getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
}

TEST_F(DiskWalk, TheDisksOfAGenericControllerHaveNoLocationOnTheSecondPlatform) {
    start(secondFamily);
    addPort();
    addSasDisk();
    controller->slots[link] = "2";
    EXPECT_EQ(walkOne().getPhysicalLocation(), secondBayLocation);
    controller->slots.clear();
    EXPECT_EQ(walkOne().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
}

TEST_F(DiskWalk, AGenericControllerKnowsNoSlots) {
    vokDiskInfo disk;
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
}

}  // namespace
}  // namespace vokStorageControllerDiskFactsTest
