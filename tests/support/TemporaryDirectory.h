// A directory for one test, removed with all it holds at the end: of the object, or else of the process.
#pragma once

#include <string>

class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    // Writes a file, making its directories. `relative` may start with "/".
    void writeFile(const std::string& relative, const std::string& content) const;
    // The content of a file, empty when it is not there.
    std::string readFile(const std::string& relative) const;
    bool exists(const std::string& relative) const;

private:
    std::string path_;
};
