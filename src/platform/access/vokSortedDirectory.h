// The entries of a directory as scandir(3) gives them in the order of alphasort(3), with an owner.
#pragma once

#include <dirent.h>
#include <cstdlib>
#include <string>

class vokSortedDirectory {
public:
    // `place` as IvokHostAccess::path() gave it. Without a filter "." and ".." are among the entries.
    explicit vokSortedDirectory(const std::string& place, int (*filter)(const dirent*) = nullptr)
        : count_(::scandir(place.c_str(), &entries_, filter, ::alphasort)) {}
    ~vokSortedDirectory() {
        for (int i = 0; i < count_; ++i) std::free(entries_[i]);
        std::free(entries_);
    }
    vokSortedDirectory(const vokSortedDirectory&) = delete;
    vokSortedDirectory& operator=(const vokSortedDirectory&) = delete;

    int count() const { return count_; }  // -1 when the directory can't be read
    const char* name(int index) const { return entries_[index]->d_name; }

private:
    dirent** entries_ = nullptr;
    int count_;
};
