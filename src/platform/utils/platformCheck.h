// The locations of the product's files on this platform, and the platform's manufacturer. The texts are
// filled on first use, which reads the firmware's table; vokUtils::initGeoIDMap releases the table, so the
// first use must come before that.
#pragma once

#include <mutex>
#include <string>

class platformCheck {
public:
    static std::string getDirectoryPath();    // "/opt/mev/vok"
    static std::string getStartupFilePath();  // "/var/tmp/mev": a prefix, with no separator at its end
    // The manufacturer text of the firmware's system record; empty if it can't be read.
    static std::string getCardManufacturer();
    // Fills all three, also if they are already filled.
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
