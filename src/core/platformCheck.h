// Where the product's files lie on this platform.
#pragma once

#include <string>

class platformCheck {
public:
    static std::string getDirectoryPath();    // "/opt/mev/vok"
    static std::string getStartupFilePath();  // "/var/tmp/mev": a prefix, with no separator at its end
    // Fills both at once.
    static void setDirectoryPath();
};
