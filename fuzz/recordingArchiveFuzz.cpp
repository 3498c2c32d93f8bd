// An archive from anywhere does no harm: it is refused with a sentence, or it is byte for byte what the
// writer makes of what was read. The manifest and the exchanges are also read alone, as few changes of an
// archive get past its checksums.
#include "FuzzInput.h"
#include "recording/Archive.h"
#include "recording/ExchangeText.h"
#include "recording/Manifest.h"
#include "recording/Paths.h"

namespace {

bool isSentence(const std::string& text) {
    return !text.empty() && text.back() == '.' && text.find('\n') == std::string::npos;
}

void readWhole(const std::string& bytes) {
    std::string error;
    const auto recording = recording::readArchive(bytes, error);
    require(recording ? error.empty() : isSentence(error));
    require(!recording || recording::writeArchive(*recording) == bytes);
}

void readAsManifest(const std::string& text) {
    recording::Recording recording;
    std::vector<recording::MemberFacts> members;
    std::string error;
    const bool valid = recording::readManifest(text, recording, members, error);
    require(valid ? error.empty() : isSentence(error));
    require(!valid || recording::writeManifest(recording, members) == text);
    if (valid) require(recording::checkPaths(recording.files, 4096, error) || isSentence(error));
}

void readAsExchanges(const std::string& text) {
    std::vector<recording::Exchange> exchanges;
    std::string error;
    const bool valid = recording::readExchanges(text, exchanges, error);
    require(valid ? error.empty() : isSentence(error));
    require(!valid || recording::writeExchanges(exchanges) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input = textOf(data, size);
    readWhole(input);
    readAsManifest(input);
    readAsExchanges(input);
    return 0;
}
