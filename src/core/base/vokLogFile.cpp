#include "core/base/vokLogFile.h"

#include "core/base/vokLogFiles.h"

bool vokLogFile::open(const std::string& hostPath) {
    vokOwnedDescriptor opened = vokLogFiles::openForAppending(hostPath);
    if (!opened) return false;
    file_ = std::move(opened);
    lastLineIsCut_ = false;
    linesAreLost_ = false;
    return true;
}

void vokLogFile::close() {
    file_.reset();
}

bool vokLogFile::write(const std::string& line) {
    if (!file_) return true;
    const std::string text = lastLineIsCut_ ? "\n" + line : line;
    const std::size_t written = vokLogFiles::writeAll(file_.get(), text.data(), text.size());
    if (written > 0) lastLineIsCut_ = written < text.size();
    const bool wereLost = linesAreLost_;
    linesAreLost_ = written < text.size();
    return wereLost || !linesAreLost_;
}
