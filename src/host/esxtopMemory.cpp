#include "host/esxtopMemory.h"

#include <cstdlib>
#include <string>

namespace {

// Far beyond any counter name; of a longer field only so much is looked at.
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

// The whole number behind the field's opening quote. Leaves `value` alone when there is none.
void readNumber(const std::string& field, long& value) {
    if (field[0] != '"') return;
    char* end = nullptr;
    const long number = std::strtol(field.c_str() + 1, &end, 10);
    if (end != field.c_str() + 1) value = number;
}

struct Column {
    const char* name;
    long esxtopMemory::*value;
    long place;  // counted from 1; 0 while not found
};

}  // namespace

esxtopMemory readEsxtopMemory(FILE* file) {
    Column columns[] = {
        {"Machine MBytes", &esxtopMemory::totalMBytes, 0},
        {"\\Memory\\Free MBytes", &esxtopMemory::freeMBytes, 0},
    };
    esxtopMemory memory;
    bool inHeader = true;
    long place = 0;
    for (std::string field; readField(file, field);) {
        ++place;
        if (field[0] == '\n') {
            inHeader = false;
            place = 1;
        }
        for (Column& column : columns) {
            if (!inHeader) {
                if (place == column.place) readNumber(field, memory.*column.value);
            } else if (column.place == 0 && field.find(column.name) != std::string::npos) {
                column.place = place;
            }
        }
    }
    return memory;
}
