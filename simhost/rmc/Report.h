// The readable account of what arrives at the controller, and the complaints.
#pragma once

#include <json/json.h>
#include <cstdio>
#include <string>

namespace simhost {

class Report {
public:
    // `quiet` prints violations only. Colours are for terminals.
    explicit Report(bool quiet);

    struct Arrival {
        unsigned long number = 0;  // of its kind, in this run
        std::size_t size = 0;
        std::size_t chunks = 0;
        double seconds = 0;
        std::string file;
        unsigned process = 0;
    };
    void inventory(const Arrival& arrival, const Json::Value& document);
    void event(const Arrival& arrival, const Json::Value& event);
    void shortPayload(const Arrival& arrival, const std::string& text);
    // Something that happened on the wire and is nobody's fault.
    void notice(const std::string& text);
    void violation(const std::string& text);
    // To standard error: something that vok-rmc could not do.
    void problem(const std::string& text);
    // False once a line could not be written to standard output.
    bool allPrinted() const { return allPrinted_; }

private:
    std::string paint(const char* colour, const std::string& text) const;
    void line(const std::string& text);

    bool quiet_;
    bool allPrinted_ = true;
    bool colours_;
};

// The table that the account of an inventory has: a line or more a section.
std::string inventoryTable(const Json::Value& document);
// The account of an event behind its number: meaning, place, text.
std::string eventAccount(const Json::Value& event);

}  // namespace simhost
