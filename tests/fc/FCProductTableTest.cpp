// The source that the build of the agent makes from the product team's table. Its form and its refusals are
// those of the table of the Ethernet adapters, which has the tests of each.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <cstdio>

#include "support/TemporaryDirectory.h"

namespace FCProductTableTest {
namespace {

constexpr char columns[] =
    "VendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,7711PID03020102,7711PID03020101\n";

class FCProductTable : public testing::Test {
protected:
    int convert(const std::string& table) {
        directory.writeFile("table.csv", table);
        FILE* const pipe = ::popen(("'" VOK_PYTHON "' -B '" VOK_FC_PRODUCTS_SCRIPT "' '" + directory.path() +
                                    "/table.csv' '" + directory.path() + "/source.cpp' 2>&1")
                                       .c_str(),
                                   "r");
        if (!pipe) return -1;
        char buffer[512];
        while (std::fgets(buffer, sizeof(buffer), pipe)) output += buffer;
        const int result = ::pclose(pipe);
        return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }

    TemporaryDirectory directory;
    std::string output;
};

TEST_F(FCProductTable, BecomesAMapByTheIdsAsNumbers) {
    EXPECT_EQ(convert(std::string(columns) + "0x1077,0x2261,0x1077,0x029B,\"Adapter, \"\"A\"\"\",A1,A2,A3\n"
                                             "0x10DF,0xE300,0x10df,0xe310, Blanks go ,, B2 ,\n"),
              0)
        << output;
    EXPECT_EQ(output, "");
    EXPECT_EQ(directory.readFile("source.cpp"),
              "#include \"fc/vokFCProducts.h\"\n\n"
              "const std::map<std::vector<int>, DEV_LIST> fcPciIdsModelNameMap = {\n"
              "    {{0x1077, 0x2261, 0x1077, 0x029b}, {\"Adapter, \\042A\\042\", \"A1\", \"A2\", \"A3\"}},\n"
              "    {{0x10df, 0xe300, 0x10df, 0xe310}, {\"Blanks go\", \"\", \"B2\", \"\"}},\n"
              "};\n");
}

TEST_F(FCProductTable, WithoutProductsBecomesAnEmptyMap) {
    EXPECT_EQ(convert(columns), 0) << output;
    EXPECT_NE(directory.readFile("source.cpp").find("fcPciIdsModelNameMap = {\n};\n"), std::string::npos);
}

TEST_F(FCProductTable, WithAWrongRowBecomesNoSource) {
    EXPECT_EQ(convert(std::string(columns) + "0x1077,0x2261,1077,0x029b,Adapter,A1,A2,A3\n"), 1);
    EXPECT_EQ(output, directory.path() + "/table.csv:2: an id is not 0x and four hexadecimal digits\n");
    EXPECT_FALSE(directory.exists("source.cpp"));
}

}  // namespace
}  // namespace FCProductTableTest
