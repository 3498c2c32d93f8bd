#include "events/vokEventDocument.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <sstream>

#include "core/base/vokJsonText.h"

namespace vokEventDocumentTest {
namespace {

const vokEventHost host{"esx01", "7.0.3", 104, "10.1.2.3"};

vokEvent eventAt(const std::string& location) {
    return vokEvent(386, location, "FCHBA", true, "2026-11-15 08:38:22", "P9", "VOK");
}

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    std::string errors;
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    EXPECT_TRUE(Json::parseFromStream(strict, stream, &value, &errors)) << errors << text;
    return value;
}

}  // namespace

TEST(vokEventDocument, IsOneLineWithSortedKeysAndNoFinalNewline) {
    Json::Value data;
    data["Type"] = "FibreChannelDevice";
    data["EventInfo"] = "line one\nline two";
    const vokEvent event(386, "0123456789ABCDEF", "FCHBA", true, "2026-11-15 08:38:22", "P9", data, "VOK");
    EXPECT_EQ(vokJsonText(vokEventDocument(event, host)),
              R"({"EventTime":"2026-11-15 08:38:22","HostName":"esx01","ID":386,)"
              R"("IPv4Addresses":[{"Address":"10.1.2.3"}],"OSType":104,"OSVersion":"7.0.3",)"
              R"("PhysicalLocation":"0123456789ABCDEF","Source":"VOK",)"
              R"("VariableData":{"EventInfo":"line one\nline two","Type":"FibreChannelDevice"}})");
}

TEST(vokEventDocument, ModulePartNumberAndServiceFlagAreNotSent) {
    const std::string text = vokJsonText(vokEventDocument(eventAt("L"), host));
    EXPECT_EQ(text.find("FCHBA"), std::string::npos);
    EXPECT_EQ(text.find("P9"), std::string::npos);
    EXPECT_EQ(text.find("true"), std::string::npos);
}

TEST(vokEventDocument, FourTextsAndTheEmptyOneAreNoLocation) {
    for (const char* none : {"", "Not Applicable", "Not Available", "NotApplicable", "NotAvailable"})
        EXPECT_FALSE(vokEventDocument(eventAt(none), host).isMember("PhysicalLocation")) << none;
}

TEST(vokEventDocument, AnyOtherTextIsALocationAndIsSentUnchanged) {
    for (const char* some :
         {"FFFFFFFFFFFFFFFF", "not available", "NOTAVAILABLE", "Not-Available", "Not Available ", " ", "N/A"})
        EXPECT_EQ(vokEventDocument(eventAt(some), host)["PhysicalLocation"].asString(), some);
}

TEST(vokEventDocument, WithoutAPrimaryAddressThereIsNoAddressKey) {
    vokEventHost nowhere = host;
    nowhere.address.clear();
    EXPECT_EQ(vokJsonText(vokEventDocument(eventAt(""), nowhere)),
              R"({"EventTime":"2026-11-15 08:38:22","HostName":"esx01","ID":386,"OSType":104,)"
              R"("OSVersion":"7.0.3","Source":"VOK"})");
}

TEST(vokEventDocument, EmptyVariableDataIsSentAndNullIsNot) {
    const vokEvent event(1, "", "M", false, "T", "P", Json::Value(Json::objectValue), "VOK");
    EXPECT_TRUE(vokEventDocument(event, host)["VariableData"].isObject());
    EXPECT_FALSE(vokEventDocument(eventAt("L"), host).isMember("VariableData"));
}

TEST(vokEventDocument, InvalidBytesStillYieldValidJson) {
    const std::string broken[] = {
        "a\xff\xfe z",      "\xc3",          "cut \xe2\x82",     "\xed\xa0\x80",
        "\xf4\xbf\xbf\xbf", "over \xc0\x80", "quote \xc3\" end", std::string("nul \0 in", 8),
        "\x01\x1f"};
    for (const std::string& bytes : broken) {
        Json::Value data;
        data["EventInfo"] = bytes;
        const vokEvent event(538, bytes, "SASHBA", true, "T", "P", data, "VOK");
        const std::string text = vokJsonText(vokEventDocument(event, host));
        EXPECT_TRUE(parsed(text).isMember("VariableData")) << text;
        for (const char each : text) EXPECT_TRUE(each >= ' ' && static_cast<signed char>(each) > 0) << text;
    }
}

}  // namespace vokEventDocumentTest
