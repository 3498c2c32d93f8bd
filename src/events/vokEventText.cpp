#include "events/vokEventText.h"

#include <json/writer.h>

std::string vokEventText(const Json::Value& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    std::string text = Json::writeString(builder, document);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}
