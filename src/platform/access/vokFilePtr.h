// A stdio stream that is closed with its owner.
#pragma once

#include <cstdio>
#include <memory>

struct vokCloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};

using vokFilePtr = std::unique_ptr<FILE, vokCloseFile>;
