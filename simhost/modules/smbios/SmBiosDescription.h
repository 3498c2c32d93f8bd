// Reads the part of a host's description that tells its firmware's table, and gives the device file.
#pragma once

#include <string>

namespace simhost {

class Section;

// The content of the device file. `directory` is where a raw file that the description names is looked for.
// Throws std::runtime_error with a sentence.
std::string parseSmBios(Section& smbios, const std::string& directory);

}  // namespace simhost
