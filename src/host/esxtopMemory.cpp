#include "host/esxtopMemory.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr char totalColumn[] = "Machine MBytes";
constexpr char freeColumn[] = "\\Memory\\Free MBytes";

// The fields of the file one after the other, in a buffer that is released with it.
class Fields {
public:
    explicit Fields(FILE* file) : file_(file) {}
    ~Fields() { std::free(text_); }
    Fields(const Fields&) = delete;
    Fields& operator=(const Fields&) = delete;

    const char* next() { return ::getdelim(&text_, &capacity_, ',', file_) < 0 ? nullptr : text_; }

private:
    FILE* file_;
    char* text_ = nullptr;
    std::size_t capacity_ = 0;
};

// Leaves the value as it is when the field has none.
void readValue(const char* field, long& value) {
    static_cast<void>(std::sscanf(field, "\"%ld", &value));
}

}  // namespace

EsxtopMemory readEsxtopMemory(FILE* file) {
    EsxtopMemory memory;
    Fields fields(file);
    bool inHeader = true;
    long column = 0;
    long total = 0;
    long free = 0;
    while (const char* const field = fields.next()) {
        ++column;
        if (field[0] == '\n') {
            inHeader = false;
            column = 1;
        }
        if (inHeader) {
            if (std::strstr(field, totalColumn)) total = column;
            if (std::strstr(field, freeColumn)) free = column;
        } else {
            if (column == total) readValue(field, memory.totalMBytes);
            if (column == free) readValue(field, memory.freeMBytes);
        }
    }
    return memory;
}
