#include "support/TemporaryDirectory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "vok-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void TemporaryDirectory::writeFile(const std::string& relative, const std::string& content) const {
    const fs::path place = path_ + "/" + relative;
    fs::create_directories(place.parent_path());
    std::ofstream stream(place, std::ios::binary | std::ios::trunc);
    stream << content;
    if (!stream) throw std::runtime_error("can't write " + place.string());
}

std::string TemporaryDirectory::readFile(const std::string& relative) const {
    std::ifstream stream(path_ + "/" + relative, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

bool TemporaryDirectory::exists(const std::string& relative) const {
    return fs::exists(fs::symlink_status(path_ + "/" + relative));
}
