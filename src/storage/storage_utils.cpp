#include "storage/storage_utils.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <numeric>

#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokUtils.h"
#include "storage/vokStorageProducts.h"

namespace {

std::string copiedTo(char* dst, const char* text) {
    if (dst) std::memcpy(dst, text, std::strlen(text) + 1);
    return text;
}

const char* partNumberForThisPlatform(const vokStorageDrive& drive) {
    const std::string family = vokUtils::getPlatformFamily();
    if (vokIsFirstPlatform(family)) return drive.partNumberFirstPlatform;
    if (vokIsSecondPlatform(family)) return drive.partNumberSecondPlatform;
    return "";
}

// Compares up to the end of the form, in which 'h' is any hexadecimal digit. A shorter text differs.
bool startsLike(const char* text, const char* form) {
    for (; *form; ++form, ++text)
        if (*form == 'h' ? !std::isxdigit(static_cast<unsigned char>(*text)) : *text != *form) return false;
    return true;
}

}  // namespace

const char* getStorageControllerModel(unsigned long chipset, unsigned long board, unsigned char familyMask,
                                      unsigned char* familyOut) {
    if (familyOut) *familyOut = 0;
    const auto matches = [=](const vokStorageHba& row) {
        return (familyMask == 0 || (row.family & familyMask)) &&
               (row.chipset == 0 || row.chipset == chipset) && (row.board == 0 || row.board == board);
    };
    const auto* const row = std::find_if(std::begin(gStorageHbaList), std::end(gStorageHbaList), matches);
    if (row == std::end(gStorageHbaList)) return nullptr;
    if (familyOut) *familyOut = static_cast<unsigned char>(row->family);
    return row->model;
}

std::string getHBAPartNumber(unsigned int chipset, unsigned int board, char* dst) {
    for (const vokStorageHba& row : gStorageHbaList)
        if (row.chipset == chipset && row.board == board) return copiedTo(dst, row.partNumber);
    return copiedTo(dst, "");
}

std::string getDiskPartNumber(const char* model, char* dst) {
    if (!model || !*model) return copiedTo(dst, "");
    for (const vokStorageDrive& row : gStorageDriveList)
        if (std::strcmp(row.model, model) == 0 || std::strcmp(row.otherModel, model) == 0)
            return copiedTo(dst, partNumberForThisPlatform(row));
    return copiedTo(dst, "");
}

char* strstr_pcilocation(char* text) {
    for (; text && *text; ++text)
        if (startsLike(text, "/hhhh:hh:hh.h")) return text;
    return nullptr;
}

char* trim_surrounding_whitespace(char* text) {
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    char* end = text + std::strlen(text);
    while (end > text && isSpace(end[-1])) --end;
    *end = '\0';
    while (isSpace(*text)) ++text;
    return text;
}

int get_ata_string(char* dst, const unsigned char* identify, unsigned int firstWord, unsigned int words) {
    const unsigned char* const first = identify + 2 * static_cast<std::size_t>(firstWord);
    for (std::size_t i = 0; i < words; ++i) {
        dst[2 * i] = static_cast<char>(first[2 * i + 1]);
        dst[2 * i + 1] = static_cast<char>(first[2 * i]);
    }
    dst[2 * static_cast<std::size_t>(words)] = '\0';
    return 0;
}

long compute_gcd(long a, long b) {
    return std::gcd(a, b);
}

int string_to_int(const char* text, int& out) {
    if (!*text) return -6;
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text, &end, 10);
    if (errno == EINVAL) return -3;
    if (number < INT_MIN || (errno == ERANGE && number == LONG_MIN)) return -1;
    if (number > INT_MAX || (errno == ERANGE && number == LONG_MAX)) return -2;
    if (*end) return -7;
    out = static_cast<int>(number);
    return 0;
}

void getControllerVendorID(unsigned int chipset, std::string& out) {
    char digits[5];
    std::snprintf(digits, sizeof(digits), "%04x", chipset & 0xffffu);
    out = digits;
}
