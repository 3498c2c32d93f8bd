# Turns the vendor lines of pci.ids ("1077  QLogic Corp.") into the source of vokPCIVendorsMap.
#   cmake -DPCI_IDS=FILE -DOUTPUT=FILE -P PciVendors.cmake
# The text is never handled as a list: a name may hold any of CMake's special characters.
cmake_minimum_required(VERSION 3.25)

file(READ "${PCI_IDS}" text)
string(PREPEND text "\n")
string(REPLACE "\r" "" text "${text}")
# Remove what is not a vendor: comments, devices and subsystems, the list of classes after the vendors, empty lines.
string(REGEX REPLACE "\n(#|\t|C )[^\n]*" "" rows "${text}")
string(REGEX REPLACE "\n+" "\n" rows "${rows}")

string(REPLACE "\\" "\\\\" rows "${rows}")
string(REPLACE "\"" "\\\"" rows "${rows}")
string(REPLACE "?" "\\?" rows "${rows}")  # two of them in a row begin a trigraph
# A line of any other form is left unchanged, and the compiler rejects it.
set(hex "[0-9a-f]")
string(REGEX REPLACE "\n(${hex}${hex}${hex}${hex})  ([^\n]+)" "\n    {\"\\1\", \"\\2\"}," rows "${rows}")

file(WRITE "${OUTPUT}" "// Generated from ${PCI_IDS} by the build; do not edit.
#include <iterator>
#include <utility>

#include \"platform/pci/PCIeManufacturerResolver.h\"

namespace {

// Plain rows: an initializer list of strings for the map would be code, which takes the compiler seconds.
constexpr std::pair<const char*, const char*> vendors[] = {")
file(APPEND "${OUTPUT}" "${rows}")
file(APPEND "${OUTPUT}" "};

}  // namespace

const std::map<std::string, std::string> vokPCIVendorsMap(std::begin(vendors), std::end(vendors));
")
