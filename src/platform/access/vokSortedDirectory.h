// The entries of a directory as scandir(3) returns them in the order of alphasort(3), freed with their owner.
#pragma once

#include <dirent.h>
#include <cstdlib>
#include <string>

class vokSortedDirectory {
public:
    // IvokHostAccess::path() returned `hostPath`. Without a filter "." and ".." are among the entries.
    explicit vokSortedDirectory(const std::string& hostPath, int (*filter)(const dirent*) = nullptr)
        : count_(::scandir(hostPath.c_str(), &entries_, filter, ::alphasort)) {}
    ~vokSortedDirectory() {
        for (int i = 0; i < count_; ++i) std::free(entries_[i]);
        std::free(entries_);
    }
    vokSortedDirectory(const vokSortedDirectory&) = delete;
    vokSortedDirectory& operator=(const vokSortedDirectory&) = delete;

    int count() const { return count_; }  // -1 if the directory can't be read
    const char* name(int index) const { return entries_[index]->d_name; }

private:
    dirent** entries_ = nullptr;
    int count_;
};
