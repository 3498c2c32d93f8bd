// The source that the build of the agent makes from the product team's table, and the tables that it refuses.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <cstdio>

#include "support/TemporaryDirectory.h"

namespace NICProductTableTest {
namespace {

using testing::HasSubstr;

constexpr char columns[] =
    "VendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,7711PID03020102,7711PID03020101\n";
constexpr char good[] = "0x8086,0x1563,0x8086,0x0001,Adapter,A1,A2,A3\n";

class ProductTable : public testing::Test {
protected:
    // Converts the table into a source; true on success. `output` is then what the script printed, without
    // the path of the table.
    bool convert(const std::string& table) {
        directory.writeFile("table.csv", table);
        const std::string path = directory.path() + "/table.csv";
        run("'" + path + "' '" + directory.path() + "/source.cpp'");
        if (output.rfind(path + ":", 0) == 0) output.erase(0, path.size() + 1);
        return status == 0;
    }
    // Expects a refusal with this message and no source.
    void expectRefusal(const std::string& table, const std::string& message) {
        EXPECT_FALSE(convert(table)) << table;
        EXPECT_EQ(output, message + "\n") << table;
        EXPECT_FALSE(directory.exists("source.cpp")) << table;
    }
    void run(const std::string& arguments) {
        FILE* const pipe = ::popen(
            ("'" VOK_PYTHON "' -B '" VOK_NIC_PRODUCTS_SCRIPT "' " + arguments + " 2>&1").c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        output.clear();
        char buffer[512];
        while (std::fgets(buffer, sizeof(buffer), pipe)) output += buffer;
        const int result = ::pclose(pipe);
        status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }
    std::string source() const { return directory.readFile("source.cpp"); }

    TemporaryDirectory directory;
    std::string output;
    int status = -1;
};

TEST_F(ProductTable, BecomesASourceWithARowForEachProductAndTheirCount) {
    ASSERT_TRUE(convert(std::string(columns) + "0x8086,0x1563,0x8086,0x0001,\"Adapter, copper\",A1,A2,A3\n"
                                               "0x15B3,0xABCD,0x15b3,0x0004, Blanks go ,, B2 ,\n"))
        << output;
    EXPECT_EQ(output, "");
    EXPECT_EQ(source(),
              "#include \"nic/vokNICProducts.h\"\n\n"
              "extern const vokNICProduct vokNICProducts[] = {\n"
              "    {\"0x8086\", \"0x1563\", \"0x8086\", \"0x0001\", \"Adapter, copper\", \"A1\", \"A2\", "
              "\"A3\"},\n"
              "    {\"0x15b3\", \"0xabcd\", \"0x15b3\", \"0x0004\", \"Blanks go\", \"\", \"B2\", \"\"},\n"
              "    {\"\", \"\", \"\", \"\", \"\", \"\", \"\", \"\"},\n};\n\n"
              "extern const std::size_t vokNICProductCount = 2;\n");
}

TEST_F(ProductTable, WithoutProductsBecomesAnEmptyTable) {
    ASSERT_TRUE(convert(columns)) << output;
    EXPECT_THAT(source(), HasSubstr("vokNICProductCount = 0;"));
}

TEST_F(ProductTable, MayHaveTheByteOrderMarkLineEndsAndEmptyRowsOfASpreadsheet) {
    ASSERT_TRUE(
        convert("\xef\xbb\xbfVendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,"
                "7711PID03020102,7711PID03020101\r\n\r\n\"0x8086\",0x1563,0x8086,0x0001,Adapter,A1,A2,"
                "A3\r\n,,,, ,,,\r\n\r\n"))
        << output;
    EXPECT_THAT(source(), HasSubstr("\"Adapter\", \"A1\", \"A2\", \"A3\"},\n    {\"\""));
    EXPECT_THAT(source(), HasSubstr("vokNICProductCount = 1;"));
}

TEST_F(ProductTable, MayHoldAnyPrintableTextWhichReachesTheCompilerUnchanged) {
    ASSERT_TRUE(convert(std::string(columns) +
                        "0x8086,0x1563,0x8086,0x0001,\"a\"\"b\\n?\?/c K\xc3\xb6ln\",%s,',{}\n"))
        << output;
    EXPECT_THAT(source(), HasSubstr(R"("a\042b\134n\077\077/c K\303\266ln", "%s", "'", "{}")"));
}

TEST_F(ProductTable, WithOtherColumnsIsRefused) {
    const std::string message =
        "1: the columns are VendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,"
        "7711PID03020102,7711PID03020101";
    expectRefusal("", message);
    expectRefusal(good, message);
    expectRefusal("VendorID,DeviceID,SubVendorID,SubDeviceID,Model\n", message);
    expectRefusal(
        "VendorID;DeviceID;SubVendorID;SubDeviceID;Model;7711PID02020001;7711PID03020102;7711PID03020101\n",
        message);
    expectRefusal(
        "VendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,7711PID03020101,"
        "7711PID03020102\n",
        message);
}

TEST_F(ProductTable, WithARowOfMoreOrFewerColumnsIsRefused) {
    expectRefusal(std::string(columns) + good + "0x8086,0x1563,0x8086,0x0002,Adapter,A1,A2\n",
                  "3: 7 columns instead of 8");
    expectRefusal(std::string(columns) + "0x8086,0x1563,0x8086,0x0002,Adapter, copper,A1,A2,A3\n",
                  "2: 9 columns instead of 8");
}

TEST_F(ProductTable, WithAnIdThatIsNotFourHexadecimalDigitsIsRefusedInAnyColumn) {
    for (const char* id : {"8086", "0x808", "0x80866", "0x80g6", "", "0x 086", "x8086"})
        for (int column = 0; column < 4; ++column) {
            std::string row;
            for (int i = 0; i < 4; ++i) row += (i == column ? std::string(id) : "0x8086") + ",";
            expectRefusal(std::string(columns) + "\n" + good + row + "Adapter,A1,A2,A3\n",
                          "4: an id is not 0x and four hexadecimal digits");
        }
}

TEST_F(ProductTable, WithTheSameIdsTwiceIsRefusedEvenInAnotherCase) {
    expectRefusal(std::string(columns) + "0x8086,0x156a,0x8086,0x0001,Adapter,A1,A2,A3\n" +
                      "0x15b3,0x1015,0x15b3,0x0004,Another,B1,B2,B3\n" +
                      "0x8086,0x156A,0x8086,0x0001,Adapter again,C1,C2,C3\n",
                  "4: the ids are those of line 2");
}

TEST_F(ProductTable, WithoutAModelIsRefused) {
    expectRefusal(std::string(columns) + "0x8086,0x1563,0x8086,0x0001, ,A1,A2,A3\n", "2: no model");
}

TEST_F(ProductTable, WithAQuoteThatIsNotClosedOrClosedTooEarlyIsRefused) {
    expectRefusal(std::string(columns) + good + "0x8086,0x1563,0x8086,0x0002,\"Adapter,A1,A2,A3\n",
                  "3: unexpected end of data");
    expectRefusal(std::string(columns) + "0x8086,0x1563,0x8086,0x0002,\"Ada\"pter,A1,A2,A3\n" + good,
                  "2: ',' expected after '\"'");
}

TEST_F(ProductTable, WithALineBreakWithinATextIsRefused) {
    expectRefusal(std::string(columns) + "0x8086,0x1563,0x8086,0x0001,\"two\nlines\",A1,A2,A3\n",
                  "3: a line break or another character that can't be printed");
    expectRefusal(std::string(columns) + "0x8086,0x1563,0x8086,0x0001,Adapter,A\t1,A2,A3\n",
                  "2: a line break or another character that can't be printed");
}

TEST_F(ProductTable, InAnotherEncodingIsRefused) {
    expectRefusal(std::string(columns) + good + "0x8086,0x1563,0x8086,0x0002,K\xf6ln,A1,A2,A3\n",
                  "3: not UTF-8");
}

TEST_F(ProductTable, ThatIsMissingIsReportedByName) {
    run("'" + directory.path() + "/none.csv' '" + directory.path() + "/source.cpp'");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, directory.path() + "/none.csv: No such file or directory\n");
    run("");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(output, "usage: nic_products.py TABLE.csv SOURCE.cpp\n");
}

}  // namespace
}  // namespace NICProductTableTest
