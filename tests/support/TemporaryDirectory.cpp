#include "support/TemporaryDirectory.h"

#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

// The directories that still exist, each with the process that created it. The directory of an object that is
// never destroyed, such as the host of the last test, is removed when that process ends.
class RemainingDirectories {
public:
    static RemainingDirectories& instance() {
        static auto* const directories = new RemainingDirectories;
        return *directories;
    }
    void add(const std::string& path) {
        const std::lock_guard<std::mutex> lock(guard_);
        creators_[path] = ::getpid();
    }
    void remove(const std::string& path) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
        const std::lock_guard<std::mutex> lock(guard_);
        creators_.erase(path);
    }

private:
    RemainingDirectories() {
        std::atexit([] { instance().removeAll(); });
    }
    void removeAll() {
        const std::lock_guard<std::mutex> lock(guard_);
        std::error_code ignored;
        for (const auto& each : creators_)
            if (each.second == ::getpid()) fs::remove_all(each.first, ignored);
    }

    std::mutex guard_;
    std::map<std::string, pid_t> creators_;
};

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "vok-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    RemainingDirectories::instance().add(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    RemainingDirectories::instance().remove(path_);
}

void TemporaryDirectory::writeFile(const std::string& relative, const std::string& content) const {
    const fs::path path = path_ + "/" + relative;
    fs::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    if (!stream) throw std::runtime_error("can't write " + path.string());
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
