#include "platform/pci/vokPciConfigSpace.h"

#include <gtest/gtest.h>
#include <vector>

namespace vokPciConfigSpaceTest {
namespace {

// A space of `size` bytes that says it has a capability list, which starts at `first`.
std::vector<unsigned char> spaceWith(std::size_t size, unsigned char first) {
    std::vector<unsigned char> space(size, 0);
    space.at(6) = 0x10;
    space.at(8) = 0x02;
    space.at(52) = first;
    return space;
}

void capability(std::vector<unsigned char>& space, std::size_t offset, unsigned char id, unsigned char next) {
    space.at(offset) = id;
    space.at(offset + 1) = next;
}

// In memory of its exact size, so that a sanitizer sees a read beyond it.
pci_config_facts read(const std::vector<unsigned char>& space) {
    const std::vector<unsigned char> exact(space.begin(), space.end());
    return pci_read_config(exact.data(), exact.size());
}

}  // namespace

// A network adapter as hosts have it: power management, MSI, MSI-X, PCI Express x8 with eight lanes in use.
TEST(PciConfigSpace, ReturnsRevisionCapabilitiesAndTheLinkWidthInUse) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x01, 0x50);
    capability(space, 0x50, 0x05, 0x70);
    capability(space, 0x70, 0x11, 0xa0);
    capability(space, 0xa0, 0x10, 0x00);
    space[0xa0 + 0x0c] = 0x03;  // Link Capabilities: up to 16 lanes at 8 GT/s
    space[0xa0 + 0x0d] = 0x01;
    space[0xa0 + 0x12] = 0x83;  // Link Status: 8 lanes at 8 GT/s, slot clock
    space[0xa0 + 0x13] = 0x10;
    const auto facts = read(space);
    EXPECT_EQ(facts.revision, 2);
    EXPECT_EQ(facts.capabilities, 0x00030022u);
    EXPECT_EQ(facts.link_width, 8);
}

TEST(PciConfigSpace, ALinkWidthHasSixBits) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x10, 0x00);
    space[0x52] = 0xff;
    space[0x53] = 0xff;
    EXPECT_EQ(read(space).link_width, 63);
}

TEST(PciConfigSpace, TheLinkWidthComesOnlyFromTheExpressCapability) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x10, 0x80);
    capability(space, 0x80, 0x05, 0x00);
    space[0x52] = 0x43;
    space[0x92] = 0x83;  // a different field of the other capability
    EXPECT_EQ(read(space).link_width, 4);
    space[0x40] = 0x09;
    EXPECT_EQ(read(space).link_width, 0);
}

TEST(PciConfigSpace, WithoutBit4OfTheStatusTheListIsNotWalked) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x10, 0x00);
    space[0x52] = 0x80;
    space[6] = 0xef;
    const auto facts = read(space);
    EXPECT_EQ(facts.capabilities, 0u);
    EXPECT_EQ(facts.link_width, 0);
    EXPECT_EQ(facts.revision, 2);
}

TEST(PciConfigSpace, TheLowTwoBitsOfAPointerAreIgnored) {
    auto space = spaceWith(256, 0x43);
    capability(space, 0x40, 0x01, 0x4a);
    capability(space, 0x48, 0x05, 0x00);
    EXPECT_EQ(read(space).capabilities, 0x22u);
}

TEST(PciConfigSpace, APointerIntoTheHeaderEndsTheList) {
    auto space = spaceWith(256, 0x3c);
    space[0x3c] = 0x05;
    EXPECT_EQ(read(space).capabilities, 0u);
    space[52] = 0x40;
    capability(space, 0x40, 0x01, 0x08);
    EXPECT_EQ(read(space).capabilities, 0x02u);
}

TEST(PciConfigSpace, AListThatLoopsEnds) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x01, 0x80);
    capability(space, 0x80, 0x05, 0x40);
    EXPECT_EQ(read(space).capabilities, 0x22u);
    capability(space, 0x40, 0x01, 0x40);
    EXPECT_EQ(read(space).capabilities, 0x02u);
}

TEST(PciConfigSpace, AListThatFillsTheWholeSpaceIsWalkedToItsEnd) {
    auto space = spaceWith(256, 0x40);
    for (std::size_t offset = 0x40; offset < 0x100; offset += 4)
        capability(space, offset, offset == 0xfc ? 0x05 : 0x09, static_cast<unsigned char>(offset + 4));
    EXPECT_EQ(read(space).capabilities, 0x220u);
}

TEST(PciConfigSpace, IdsAbove31AreNotInTheMask) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x20, 0x44);
    capability(space, 0x44, 0x1f, 0x48);
    capability(space, 0x48, 0xfe, 0x00);
    EXPECT_EQ(read(space).capabilities, 0x80000000u);
}

// The bytes of a function that no longer responds.
TEST(PciConfigSpace, AllOnesHaveNoCapabilities) {
    const auto facts = read(std::vector<unsigned char>(256, 0xff));
    EXPECT_EQ(facts.revision, 0xff);
    EXPECT_EQ(facts.capabilities, 0u);
    EXPECT_EQ(facts.link_width, 0);
}

// Without privileges the kernel returns only the header.
TEST(PciConfigSpace, AListBeyondTheEndOf64BytesIsMissing) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x10, 0x00);
    space.resize(64);
    const auto facts = read(space);
    EXPECT_EQ(facts.revision, 2);
    EXPECT_EQ(facts.capabilities, 0u);
}

TEST(PciConfigSpace, ACapabilityWhoseSecondByteIsCutOffIsMissing) {
    auto space = spaceWith(256, 0x40);
    capability(space, 0x40, 0x01, 0x80);
    capability(space, 0x80, 0x05, 0x00);
    space.resize(0x81);
    EXPECT_EQ(read(space).capabilities, 0x02u);
    space.resize(0x82);
    EXPECT_EQ(read(space).capabilities, 0x22u);
}

TEST(PciConfigSpace, ALinkStatusThatIsCutOffIsMissing) {
    auto space = spaceWith(0x54, 0x40);
    capability(space, 0x40, 0x10, 0x00);
    space[0x52] = 0x80;
    EXPECT_EQ(read(space).link_width, 8);
    space.resize(0x53);
    EXPECT_EQ(read(space).link_width, 0);
    EXPECT_EQ(read(space).capabilities, 0x10000u);
}

TEST(PciConfigSpace, AnyLengthFrom0To4096CanBeRead) {
    std::vector<unsigned char> space(4096, 0x10);
    space[6] = 0x10;
    for (std::size_t length = 0; length <= 4096; ++length) {
        const auto facts = read(
            std::vector<unsigned char>(space.begin(), space.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_EQ(facts.revision, length > 8 ? 0x10 : 0) << length;
        EXPECT_EQ(facts.capabilities, 0u) << length;
    }
    EXPECT_EQ(pci_read_config(nullptr, 0).revision, 0);
}

}  // namespace vokPciConfigSpaceTest
