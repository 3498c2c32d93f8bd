// A disk on a fake host with every line of the log kept, and its open node.
#pragma once

#include <fcntl.h>
#include <string>
#include <utility>
#include <vector>

#include "platform/access/vokDevice.h"
#include "platform/access/vokMallocPtr.h"
#include "support/FakeHost.h"
#include "support/FakeScsi.h"
#include "support/LoggedLines.h"

struct ScsiDisk {
    ScsiDisk() {
        logEverything(host);
        device = vokDevice("/dev/sg3", O_RDWR);
    }

    int fd() const { return device.descriptor(); }
    bool logged(const std::string& line) const { return hasLogged(host, "DEBUG SCSI_INFO: " + line); }

    FakeHost host;
    FakeScsi& disk = host.add<FakeScsi>("/dev/sg3");
    vokDevice device;
};

// `bytes` followed by zeros.
inline FakeScsiBytes padded(FakeScsiBytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

// Zeros with some bytes set: {position, value}.
inline FakeScsiBytes zerosWith(std::size_t size, const std::vector<std::pair<std::size_t, int>>& values) {
    FakeScsiBytes bytes(size);
    for (const auto& [at, value] : values) bytes.at(at) = static_cast<unsigned char>(value);
    return bytes;
}

// `text` at a position of otherwise zero bytes.
inline FakeScsiBytes zerosWithText(std::size_t size, std::size_t at, const std::string& text) {
    FakeScsiBytes bytes(size);
    for (std::size_t i = 0; i < text.size(); ++i) bytes.at(at + i) = static_cast<unsigned char>(text[i]);
    return bytes;
}

// The text of a function that returns one to be freed, or "(null)".
inline std::string takenText(char* text) {
    const vokMallocPtr<char> owned(text);
    return owned ? owned.get() : "(null)";
}

// The first `size` bytes of memory to be freed; empty for null.
template <typename Byte>
FakeScsiBytes takenBytes(Byte* bytes, std::size_t size) {
    const vokMallocPtr<Byte> owned(bytes);
    return owned ? FakeScsiBytes(owned.get(), owned.get() + size) : FakeScsiBytes();
}
