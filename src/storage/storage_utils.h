// The models of controllers and disks that are known by name, and the text helpers of the storage classes.
//
// A chipset id is the PCI device id in the upper and the vendor id in the lower 16 bits; a board id is the
// same of the subsystem.
#pragma once

#include <string>

// The families of controllers, one bit each.
enum vokStorageFamily : unsigned char {
    vokIntelSataRaid = 1,
    vokMegaRaid = 2,
    vokAdaptec = 4,
    vokAnyFamily = 255,
};

// The model of a controller of a family in the mask, or null; a mask of 0 means any. `familyOut`, which may
// be null, gets its family flags, 0 without a model.
const char* getStorageControllerModel(unsigned long chipset, unsigned long board, unsigned char familyMask,
                                      unsigned char* familyOut);
// The part number of a controller whose ids are both listed, or empty. Also copied to `dst` unless null.
std::string getHBAPartNumber(unsigned int chipset, unsigned int board, char* dst);
// The part number of a disk model for this platform, or empty. Also copied to `dst` unless null.
std::string getDiskPartNumber(const char* model, char* dst);

// The next "/0000:00:17.0" in `text`: a pointer to its slash, or null.
char* strstr_pcilocation(char* text);
// Cuts trailing white space and returns the first character that is not white space.
char* trim_surrounding_whitespace(char* text);
// Copies words of IDENTIFY DEVICE data as text, with the bytes of each exchanged, and ends it with a NUL.
// Returns 0.
int get_ata_string(char* dst, const unsigned char* identify, unsigned int firstWord, unsigned int words);
long compute_gcd(long a, long b);
// Returns 0, or: -1 too small, -2 too large, -3 not converted, -6 empty, -7 trailing characters. `out` is
// only set on success.
int string_to_int(const char* text, int& out);
// "1000" for the chipset 0x005D1000.
void getControllerVendorID(unsigned int chipset, std::string& out);
