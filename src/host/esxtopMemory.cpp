#include "host/esxtopMemory.h"

#include <cstdlib>
#include <string>

namespace {

// Far beyond the name of any counter; of a longer field no more is looked at.
constexpr std::size_t fieldLimit = 4096;

// Reads up to and with the next comma. False at the end of the file.
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

// The whole number behind the field's opening quote; beyond what a long holds, the nearest that it does hold.
// Leaves the value as it is when the field has none.
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
    long place;  // counted from 1; 0 while not found
};

}  // namespace

EsxtopMemory readEsxtopMemory(FILE* file) {
    Column columns[] = {
        {"Machine MBytes", &EsxtopMemory::totalMBytes, 0},
        {"\\Memory\\Free MBytes", &EsxtopMemory::freeMBytes, 0},
    };
    EsxtopMemory memory;
    bool inHeader = true;
    long place = 0;
    for (std::string field; readField(file, field);) {
        ++place;
        if (field[0] == '\n') {
            inHeader = false;
            place = 1;
        }
        for (Column& column : columns) {
            if (inHeader) {
                if (column.place == 0 && field.find(column.name) != std::string::npos) column.place = place;
            } else if (place == column.place) {
                readNumber(field, memory.*column.value);
            }
        }
    }
    return memory;
}
