#include "events/client/vokInjectedEvent.h"

#include "events/EventsFixture.h"

namespace vokInjectedEventTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class vokInjectedEventTest : public EventsFixture {
protected:
    static int send(std::string text) { return sendToRMC(text.data()); }
    static bool validate(std::string text) { return jsonValidate(text.data()); }
};

const std::string padding(80, 'x');  // beyond what one chunk holds

TEST_F(vokInjectedEventTest, IsSentOnOneLineEvenBeforeTheFirstPush) {
    EXPECT_EQ(send("{\n  \"Pad\" : \"" + padding + "\",\n  \"ID\" : 538\n}\n"), 0);
    EXPECT_THAT(delivered(), ElementsAre(R"({"ID":538,"Pad":")" + padding + R"(","Source":"VOK-CLI"})"));
}

TEST_F(vokInjectedEventTest, ItsOwnSourceIsReplaced) {
    EXPECT_EQ(send(R"({"Source":"SOMEBODY","Pad":")" + padding + R"("})"), 0);
    EXPECT_EQ(send(R"({"Source":{"A":1},"Pad":")" + padding + R"("})"), 0);
    EXPECT_THAT(delivered(), ElementsAre(R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})",
                                         R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})"));
}

TEST_F(vokInjectedEventTest, PayloadAndTextAreLogged) {
    const std::string payload = R"({ "Pad" : ")" + padding + R"(" })";
    send(payload);
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", payload), 1);
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", R"({"Pad":")" + padding + R"(","Source":"VOK-CLI"})"), 1);
}

TEST_F(vokInjectedEventTest, AFailedSendReturnsOne) {
    refuseAll();
    EXPECT_EQ(send(R"({"Pad":")" + padding + R"("})"), 1);
    EXPECT_EQ(count(log(), "ERROR EVT_HANDLER", "FAILURE in logging event to RMC"), 1);
}

TEST_F(vokInjectedEventTest, InvalidJsonIsRefusedWithStatusZero) {
    int refused = 0;
    for (const char* text : {"", "   ", "hello", "{", R"({"a":})", "{'a':1}", "\xff\xfe"}) {
        EXPECT_EQ(send(text), 0) << text;
        EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), ++refused) << text;
    }
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokInjectedEventTest, AnEmptyValueIsRefusedWithStatusZero) {
    int refused = 0;
    for (const char* text : {"null", "{}", "[]"}) {
        EXPECT_EQ(send(text), 0) << text;
        EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), ++refused) << text;
    }
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokInjectedEventTest, AnythingButAnObjectIsAnErrorLineAndStatusZero) {
    std::size_t before = 0;
    for (const char* text : {"17", "\"text\"", "true", "[1,2]", R"([{"a":1}])"}) {
        EXPECT_EQ(send(text), 0) << text;
        const std::string logged = log();
        EXPECT_THAT(logged.substr(before), HasSubstr(" VOK_SERVER: Error: ")) << text;
        before = logged.size();
    }
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 0);
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokInjectedEventTest, NestingBeyondTheLibrarysLimitIsAnErrorLineAndStatusZero) {
    EXPECT_EQ(send(R"({"a":)" + std::string(1500, '[') + std::string(1500, ']') + "}"), 0);
    EXPECT_THAT(log(), HasSubstr(" VOK_SERVER: Error: "));
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 0);
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokInjectedEventTest, ValidationAgreesWithSending) {
    EXPECT_TRUE(validate(R"({"ID":1})"));
    EXPECT_EQ(log(), "");
    EXPECT_FALSE(validate("{}"));
    EXPECT_FALSE(validate("{"));
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 2);
    EXPECT_FALSE(validate(std::string(1500, '[')));
    EXPECT_THAT(log(), HasSubstr(" VOK_SERVER: Error: "));
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokInjectedEventTest, TheReasonForARefusalIsAvailableWithoutLogging) {
    Json::Value value;
    std::string reason;
    EXPECT_FALSE(vokParseInjectedEvent("{\"a\":}\n", value, &reason));
    EXPECT_THAT(reason, HasSubstr("Line 1, Column 6"));
    EXPECT_EQ(log(), "");
}

}  // namespace
}  // namespace vokInjectedEventTest
