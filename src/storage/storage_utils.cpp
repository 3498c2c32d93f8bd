#include "storage/storage_utils.h"

#include "core/base/vokLog.h"

const char* getStorageControllerModel(unsigned long, unsigned long, unsigned char, unsigned char*) {
    return nullptr;
}
std::string getHBAPartNumber(unsigned int, unsigned int, char*) {
    return "";
}
std::string getDiskPartNumber(const char*, char*) {
    return "";
}
char* strstr_pcilocation(char*) {
    return nullptr;
}
char* trim_surrounding_whitespace(char* text) {
    return text;
}
int get_ata_string(char*, const unsigned char*, unsigned int, unsigned int) {
    return 0;
}
long compute_gcd(long, long b) {
    return b;
}
int string_to_int(const char*, int&) {
    return -6;
}
void getControllerVendorID(unsigned int, std::string&) {}
