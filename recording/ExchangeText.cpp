#include "recording/ExchangeText.h"

#include <set>
#include <tuple>
#include <utility>

#include "recording/ArchiveText.h"
#include "recording/Manifest.h"

namespace recording {
namespace {

void appendFields(std::string& out, const Fields& fields) {
    out += '{';
    std::string_view separator;
    for (const auto& [name, value] : fields) {
        out += separator;
        appendText(out, name);
        out += ": ";
        appendText(out, value);
        separator = ", ";
    }
    out += '}';
}

Fields readFields(TextReader& in) {
    Fields fields;
    in.take("{");
    if (in.next("}")) return fields;
    do {
        std::string name = in.value();
        in.take(": ");
        std::string value = in.value();
        if (!fields.empty() && !(fields.rbegin()->first < name))
            in.fail("names in ascending order, each once, not " + shownText(name));
        fields.emplace_hint(fields.end(), std::move(name), std::move(value));
    } while (in.next(", "));
    in.take("}");
    return fields;
}

Exchange readExchange(TextReader& in) {
    Exchange exchange;
    in.take("{\"kind\": ");
    exchange.kind = in.value();
    in.take(", \"question\": ");
    exchange.question = readFields(in);
    in.take(", \"answers\": [");
    if (!in.next("]")) {
        do exchange.answers.push_back(readFields(in));
        while (in.next(", "));
        in.take("]");
    }
    in.take("}\n");
    return exchange;
}

struct ByQuestion {
    bool operator()(const Exchange* one, const Exchange* other) const {
        return std::tie(one->kind, one->question) < std::tie(other->kind, other->question);
    }
};

// The line number of the first question that was there before, 0 if there is none.
std::size_t firstRepeated(const std::vector<Exchange>& exchanges) {
    std::set<const Exchange*, ByQuestion> seen;
    for (std::size_t index = 0; index < exchanges.size(); ++index)
        if (!seen.insert(&exchanges[index]).second) return index + 1;
    return 0;
}

}  // namespace

std::string writeExchanges(const std::vector<Exchange>& exchanges) {
    std::string out;
    for (const Exchange& exchange : exchanges) {
        out += "{\"kind\": ";
        appendText(out, exchange.kind);
        out += ", \"question\": ";
        appendFields(out, exchange.question);
        out += ", \"answers\": [";
        std::string_view separator;
        for (const Fields& answer : exchange.answers) {
            out += separator;
            appendFields(out, answer);
            separator = ", ";
        }
        out += "]}\n";
    }
    return out;
}

bool readExchanges(std::string_view text, std::vector<Exchange>& exchanges, std::string& error) {
    const std::string where = std::string(exchangesMember) + ", ";
    TextReader in(text);
    while (!in.failed() && !in.atEnd()) exchanges.push_back(readExchange(in));
    if (in.failed()) {
        error = where + in.failure() + ".";
        return false;
    }
    if (const std::size_t line = firstRepeated(exchanges)) {
        error = where + "line " + std::to_string(line) + ": the same question is on a line before it.";
        return false;
    }
    return true;
}

}  // namespace recording
