#include "host/esxtopMemory.h"

#include <cstdlib>
#include <string>

namespace {

// Far beyond the name of any counter; a longer field is cut.
constexpr std::size_t fieldLimit = 4096;

// Reads up to and including the next comma. False at the end of the file.
bool readField(FILE* file, std::string& field) {
    field.clear();
    int byte = std::getc(file);
    if (byte == EOF) return false;
    for (; byte != EOF; byte = std::getc(file)) {
        if (field.size() < fieldLimit) field += static_cast<char>(byte);
        if (byte == ',') break;
    }
    return true;
}

// Reads the whole number after the field's opening quote, clamped to the range of long. Leaves `value`
// unchanged if the field has none.
void readNumber(const std::string& field, long& value) {
    if (field[0] != '"') return;
    const char* const text = field.c_str() + 1;
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end != text) value = number;
}

struct Column {
    const char* name;
    long EsxtopMemory::*value;
    long position;  // counted from 1; 0 while not found
};

}  // namespace

EsxtopMemory readEsxtopMemory(FILE* file) {
    Column columns[] = {
        {"Machine MBytes", &EsxtopMemory::totalMBytes, 0},
        {"\\Memory\\Free MBytes", &EsxtopMemory::freeMBytes, 0},
    };
    EsxtopMemory memory;
    bool inHeader = true;
    long position = 0;
    for (std::string field; readField(file, field);) {
        ++position;
        if (field[0] == '\n') {
            inHeader = false;
            position = 1;
        }
        for (Column& column : columns) {
            if (inHeader) {
                if (column.position == 0 && field.find(column.name) != std::string::npos)
                    column.position = position;
            } else if (position == column.position) {
                readNumber(field, memory.*column.value);
            }
        }
    }
    return memory;
}
