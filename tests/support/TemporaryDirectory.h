// A directory for one test. It is removed with its content when the object is destroyed or the process ends.
#pragma once

#include <string>

class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    // Writes a file and creates its directories. `relative` may start with "/".
    void writeFile(const std::string& relative, const std::string& content) const;
    // The content of a file, empty if it is missing.
    std::string readFile(const std::string& relative) const;
    bool exists(const std::string& relative) const;

private:
    std::string path_;
};
