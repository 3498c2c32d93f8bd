// Static helpers for host commands, text, names, addresses and time. One class, several sources by theme:
// vokUtilsCommands, vokUtilsHost, vokUtilsNetwork, vokUtilsTime, vokUtilsSummaryLog,
// vokUtilsDirectories, vokUtilsPlatform, vokUtilsGeoId, vokUtilsFibreChannel.
#pragma once

#include <regex.h>
#include <atomic>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class vokUtils {
public:
    // --- commands and their text (vokUtilsCommands.cpp) ---

    // Runs a shell command and returns its output as tab, line, tab, line: each line trimmed, preceded by one
    // tab, without a newline. Lines longer than 511 characters are split into several. Empty if the command
    // can't be started; the exit status is only reported, see vokReportCommand().
    static std::string executeEsxiCommandAndFetchOutput(std::string command);
    // The first match of a POSIX extended regular expression in `text`, from two characters after its first
    // ":". Empty if there is none.
    static std::string getValueByRegexFromLocalcli(std::string text, std::string pattern);
    // Vendor and device id of a PCI function, each "0x" and four digits, or empty.
    static std::pair<std::string, std::string> get_vendor_device(std::string pciAddress);
    // The same for the subsystem.
    static std::pair<std::string, std::string> get_subvendor_subdevice(std::string pciAddress);
    // The text between the first "(" and the first ")" of the adapter's line. Returns 1, or -1 if the command
    // can't be started.
    static int getPCIString(std::string adapter, std::string& out);
    // Asymmetric on purpose: removes any white space at the end, only blanks at the front. Changes `in`.
    static void trimLeadingTrailingSpaces(std::string& in, std::string& out);
    // The text between the first `start` and the first `end` after it, or to the end of `text` without an
    // `end`.
    static std::string getSubStr(std::string start, std::string end, std::string text);
    // The first line of the file that holds `pattern`, or empty.
    static std::string getLineFromFile(std::string path, std::string pattern);
    // True for the form "%04x:%02x:%02x.%x"; no other text may be put into a command.
    static bool isPCIAddress(const std::string& text);
    // True for a name that network interfaces and adapters can have; it has no other meaning in a command.
    static bool isInterfaceName(const std::string& text);

    // --- the host and its names (vokUtilsHost.cpp) ---

    static std::string readHostName();       // " " if uname fails
    static std::string readHostOSName();     // cached after the first success
    static std::string readHostOSVersion();  // cached after the first success
    static std::string readHostOSDescription();
    static int getOSType();           // 104
    static int getOSType(int* type);  // stores 104, returns 1
    static std::string getErrorDescription(int errnum);
    static void setSystemCurrentBootTime(long seconds);
    static long getSystemCurrentBootTime();  // seconds since the Epoch
    void setCacheRefreshTimeInterval(long seconds);
    long getCacheRefreshTimeInterval() const;

    // --- IPv4 addresses (vokUtilsNetwork.cpp) ---

    // Non-loopback IPv4 addresses in interface order. Also updates the auxiliary address.
    static std::vector<std::string> getIPAddresses();
    static std::string getPrimaryIPAddress();
    static std::vector<std::string> updateAndFetchIPAddresses();
    static int setPrimaryIPAddress(std::vector<std::string> addresses);  // 1
    static bool is_ipv4_address(std::string text);

    // --- time (vokUtilsTime.cpp) ---

    static std::string getTimeZone();  // "CET"
    static std::string getUTCTime();   // "2026-11-15T08:38:22Z"
    static std::string getTime();      // "2026-11-15 08:38:22", local: the time stamp of events
    static std::string getDateTime();  // "Nov 5 08:38:22", local: the time stamp of the log
    // Seconds since the Epoch of a text of at least 20 characters like getUTCTime's, read as local time.
    static long toEpoc(std::string text);
    // out = a - b, with a borrow from the seconds.
    static void diffTimespec(const timespec& a, const timespec& b, timespec& out);
    // Times from the host's summary log: the last two boots, the last shutdown. 0 if it doesn't hold them.
    static void fetchSystemBootTime(long& boot, long& previousBoot);
    static void fetchSystemShutdownTime(long& shutdown);

    // --- directory listings (vokUtilsDirectories.cpp) ---

    static int dirList(std::string path, std::vector<std::string>& out);
    static int dirPciList(std::string path, std::vector<std::string>& out);
    static int dirListIB(std::string path, std::vector<std::string>& out);
    static int dirListNvmeNameSpaces(std::string path, std::string prefix, std::vector<std::string>& out);

    // --- facts from the firmware tables (vokUtilsPlatform.cpp) ---

    // Reads the firmware's table. Called before initGeoIDMap, once, before any manager runs.
    static void initializeSMBIOS();
    // The system family text of the firmware, empty if unknown. Fixed by the first call, even if that failed.
    static std::string getPlatformFamily();
    // The manufacturer text of the firmware; fixed by the same first call.
    static std::string getSystemManufacturer();

    // --- locations of PCI functions: GeoIDs (vokUtilsGeoId.cpp) ---

    // Fills the map from PCI address to GeoID with the firmware's slots and on-board devices, and releases
    // the table.
    static void initGeoIDMap();
    // "r001u05p2i03" for "0000:3b:00.0"; "NotAvailable" for a function that the firmware does not list.
    static std::string getGeoIDStr(std::string pciAddress);
    // The numbers of a GeoID as text with their leading zeros: rack, unit, partition, instance on the first
    // platform, rack, instance, slot on the second. Empty if there is none or it has another form.
    static std::vector<std::string> getGeoIDInfo(std::string pciAddress);
    // The GeoID of the first platform's form within a designation, or empty.
    static std::string getGeoIDFromDesignation(std::string designation);
    // GeoIDs by PCI address, empty for a function whose designation holds none.
    static const std::map<std::string, std::string>& getGeoIDMap();

    // --- Fibre Channel adapters and their PCI functions (vokUtilsFibreChannel.cpp) ---

    // Fill the two maps from the host's commands; the second one uses the first map.
    static void initFcInfoMap();
    static void initFcNameMap();
    // The PCI address of an adapter, or "NotAvailable".
    static std::string getFcPciStr(std::string adapter);
    // PCI address and VMkernel name of an adapter, or "NotAvailable" twice.
    static std::pair<std::string, std::string> getFcGeoIDPciStr(std::string adapter);
    // The adapter with this node name, or "NotAvailable".
    static std::string getFcOsDevicename(std::string nodeName);
    static bool OsNameInHardwarePciList(std::string adapter);

private:
    static void setSystemInformation();
    static void cacheSystemInformation();
    static bool compileGeoIDSplit(const std::string& geoID);
    static std::string cachedProductValue(std::string& cache, const char* command, const char* failure);

    static std::mutex mutex_lock;  // guards the two addresses
    static std::string primaryIPv4Address;
    static std::string auxIPv4Address;
    static std::mutex osNamesMutex;  // guards the two names, and is not held while a command runs
    static std::string OSName;
    static std::string OSVersion;
    static std::atomic<long> _currentBootTime;
    static std::atomic<bool> smbiosVmwareInit;  // stays set after the table is released
    static std::atomic<bool> systemInformationCached;
    static std::mutex systemInformationMutex;  // guards the filling of the next two
    static std::string platformFamily;
    static std::string systemManufacturer;
    // Written before any reader starts, and read without a lock.
    static std::map<std::string, std::string> geoIDMap;
    static std::map<std::string, std::pair<std::string, std::string>> fcGeoIDMap;
    static std::map<std::string, std::string> fcNameMap;
    static std::atomic<bool> geoIDSplitRegexCompiled;
    static std::mutex geoIDSplitMutex;  // guards the compiling
    static std::string geoIDSplitExpression;
    static regex_t geoIDSplitExp;  // for the life of the agent: never freed
    long cacheRefreshTimeInterval = 0;
};
