#include "common/CommandLine.h"

#include <iostream>
#include <memory>
#include <sstream>

#include "common/Files.h"
#include "common/Words.h"

namespace simhost {

namespace {

constexpr int badUsage = 2;
constexpr std::size_t textColumn = 26;
constexpr std::size_t lastColumn = 78;  // the options of a group are two columns further in

// The name on the left, its text on the right, wrapped.
std::string helpEntry(const std::string& name, const std::string& text) {
    std::string entry;
    std::string line = "  " + name;
    if (line.size() + 2 > textColumn && !text.empty()) {
        entry = line + "\n";
        line.clear();
    }
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (line.size() < textColumn) {
            line.resize(textColumn, ' ');
        } else if (line.size() + 1 + word.size() > lastColumn) {
            entry += line + "\n";
            line.assign(textColumn, ' ');
        } else {
            line += ' ';
        }
        line += word;
    }
    return entry + line + "\n";
}

class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option(const CLI::Option* option, bool isPositional) const override {
        return helpEntry(make_option_name(option, isPositional) + make_option_opts(option),
                         make_option_desc(option) + (option->get_required() ? " (required)" : ""));
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }
    std::string make_subcommand(const CLI::App* command) const override {
        return helpEntry(command->get_display_name(true), command->get_description());
    }
};

// Empty if `read` takes the text; otherwise what is wrong with it.
template <class Read>
std::string complaintOf(Read read) {
    try {
        read();
        return "";
    } catch (const UsageError& error) {
        return error.what();
    }
}

}  // namespace

void formatHelp(CLI::App& app) {
    app.formatter(std::make_shared<HelpFormatter>());
}

CLI::Validator numberWithin(double least, double most) {
    return CLI::Validator(
        [=](std::string& text) { return complaintOf([&] { toFraction(text, "value", least, most); }); }, "");
}

CLI::Validator wholeNumberWithin(long long least, long long most) {
    return CLI::Validator(
        [=](std::string& text) {
            return complaintOf([&] { text = std::to_string(toNumber(text, "value", least, most)); });
        },
        "");
}

std::optional<int> parseCommandLine(CLI::App& app, int count, char** arguments) {
    try {
        app.parse(count, arguments);
        return std::nullopt;
    } catch (const CLI::RequiredError& error) {
        // What is required may be missing because another word is in its place.
        const std::vector<std::string> unexpected = app.remaining(true);
        if (unexpected.empty())
            app.exit(error, std::cout, std::cerr);
        else
            app.exit(CLI::ExtrasError(app.get_name(), unexpected), std::cout, std::cerr);
        return badUsage;
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text, std::cerr);
        printOut(text.str());
        return status == 0 ? 0 : badUsage;
    }
}

}  // namespace simhost
