// Where the product's files lie on this platform, and who made it. The texts are filled on the first need,
// which opens the firmware's table; vokUtils::initGeoIDMap gives it back, so the first need comes before
// that.
#pragma once

#include <mutex>
#include <string>

class platformCheck {
public:
    static std::string getDirectoryPath();    // "/opt/mev/vok"
    static std::string getStartupFilePath();  // "/var/tmp/mev": a prefix, with no separator at its end
    // The manufacturer text of the firmware's system record; empty when it can't be read.
    static std::string getCardManufacturer();
    // Fills all three at once, again when they are filled.
    static void setDirectoryPath();

private:
    static void fill();
    static std::string filled(const std::string& text);

    static std::mutex platformCheckLock;  // guards all below
    static bool isFilled;
    static std::string directoryPath;
    static std::string startupFilePath;
    static std::string cardManufacturer;
};
