// The source that the build makes from the product teams' tables of controllers and disks, and the tables
// that it refuses.
#include "storage/vokStorageProducts.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <cstdio>
#include <memory>

#include "support/TemporaryDirectory.h"

namespace vokStorageProductsTest {
namespace {

using testing::HasSubstr;

constexpr char controllerColumns[] = "ChipsetID,BoardID,PartNumber,Family,Model\n";
constexpr char driveColumns[] = "Model,OtherModel,7711PID02020001,7711PID0302010x\n";

std::string controllerRows(int count) {
    std::string rows;
    for (int i = 0; i < count; ++i)
        rows += "0x005D10" + std::to_string(10 + i) + ",0x00000000,,2,Controller\n";
    return rows;
}
std::string driveRows(int count) {
    std::string rows;
    for (int i = 0; i < count; ++i) rows += "Disk" + std::to_string(i) + ",,A,B\n";
    return rows;
}
// The first rows of a table that is otherwise good.
std::string controllersWith(const std::string& rows, int count = 1) {
    return controllerColumns + rows + controllerRows(13 - count);
}
std::string drivesWith(const std::string& rows, int count = 1) {
    return driveColumns + rows + driveRows(83 - count);
}

class StorageProducts : public testing::Test {
protected:
    bool convert(const std::string& controllers, const std::string& drives) {
        directory.writeFile("controllers.csv", controllers);
        directory.writeFile("drives.csv", drives);
        run(quoted("controllers.csv") + quoted("drives.csv") + quoted("source.cpp"));
        if (output.rfind(directory.path() + "/", 0) == 0) output.erase(0, directory.path().size() + 1);
        return status == 0;
    }
    void expectRefusal(const std::string& controllers, const std::string& drives,
                       const std::string& message) {
        EXPECT_FALSE(convert(controllers, drives)) << message;
        EXPECT_EQ(output, message + "\n");
        EXPECT_FALSE(directory.exists("source.cpp")) << message;
    }
    void expectControllersRefused(const std::string& rows, int count, const std::string& message) {
        expectRefusal(controllersWith(rows, count), drivesWith("", 0), "controllers.csv:" + message);
    }
    void expectDrivesRefused(const std::string& rows, int count, const std::string& message) {
        expectRefusal(controllersWith("", 0), drivesWith(rows, count), "drives.csv:" + message);
    }
    void run(const std::string& arguments) {
        const std::string command =
            "'" VOK_PYTHON "' -B '" VOK_STORAGE_PRODUCTS_SCRIPT "' " + arguments + " 2>&1";
        FILE* const pipe = ::popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        output.clear();
        char buffer[512];
        while (std::fgets(buffer, sizeof(buffer), pipe)) output += buffer;
        const int result = ::pclose(pipe);
        status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }
    std::string quoted(const std::string& name) const { return "'" + directory.path() + "/" + name + "' "; }

    TemporaryDirectory directory;
    std::string output;
    int status = -1;
};

TEST_F(StorageProducts, BecomeASourceWithARowForEachProduct) {
    ASSERT_TRUE(convert(controllersWith("0x005D1000,0x9A631000, P1 ,2,\"SAS \"\"x\"\"\"\n"),
                        drivesWith("DISK 1,disk-1,A1,\n")))
        << output;
    EXPECT_EQ(output, "");
    const std::string source = directory.readFile("source.cpp");
    EXPECT_THAT(source, HasSubstr("#include \"storage/vokStorageProducts.h\"\n\n"
                                  "extern const vokStorageHba gStorageHbaList[MAX_STORAGE_HBA_LIST] = {\n"
                                  "    {0x005d1000, 0x9a631000, \"P1\", 2, \"SAS \\042x\\042\"},\n"));
    EXPECT_THAT(source,
                HasSubstr("};\n"
                          "extern const vokStorageDrive gStorageDriveList[MAX_STORAGE_DRIVE_LIST] = {\n"
                          "    {\"DISK 1\", \"disk-1\", \"A1\", \"\"},\n"));
}

TEST_F(StorageProducts, HaveAsManyRowsAsTheAgentsTables) {
    expectRefusal(controllerColumns + controllerRows(12), drivesWith("", 0),
                  "controllers.csv: 12 rows instead of 13");
    expectRefusal(controllersWith("", 0), driveColumns + driveRows(84), "drives.csv: 84 rows instead of 83");
    EXPECT_EQ(MAX_STORAGE_HBA_LIST, 13u);
    EXPECT_EQ(MAX_STORAGE_DRIVE_LIST, 83u);
}

TEST_F(StorageProducts, WithOtherColumnsAreRefused) {
    expectRefusal(controllerRows(13), drivesWith("", 0),
                  "controllers.csv:1: the columns are ChipsetID,BoardID,PartNumber,Family,Model");
    expectRefusal(controllersWith("", 0), driveRows(83),
                  "drives.csv:1: the columns are Model,OtherModel,7711PID02020001,7711PID0302010x");
    expectControllersRefused("0x005D1000,0x00000000,,2\n", 1, "2: 4 columns instead of 5");
    expectDrivesRefused("D,,A,B,C\n", 1, "2: 5 columns instead of 4");
}

TEST_F(StorageProducts, WithAnIdThatIsNotEightHexadecimalDigitsAreRefused) {
    for (const char* id : {"005D1000", "0x005D100", "0x005D10000", "0x005D100g", ""}) {
        expectControllersRefused(std::string(id) + ",0x00000000,,2,C\n", 1,
                                 "2: an id is not 0x and eight hexadecimal digits");
        expectControllersRefused("0x005D1000," + std::string(id) + ",,2,C\n", 1,
                                 "2: an id is not 0x and eight hexadecimal digits");
    }
}

TEST_F(StorageProducts, WithAFamilyThatIsNoSingleOneAreRefused) {
    for (const char* family : {"", "0", "3", "8", "x"})
        expectControllersRefused("0x005D1000,0x00000000,," + std::string(family) + ",C\n", 1,
                                 "2: the family is not 1, 2 or 4");
}

TEST_F(StorageProducts, WithoutAModelAreRefused) {
    expectControllersRefused("0x005D1000,0x00000000,,2,\n", 1, "2: no model");
    expectDrivesRefused(",D,A,B\n", 1, "2: no model");
}

TEST_F(StorageProducts, WithARowThatAnEarlierOneHidesAreRefused) {
    expectControllersRefused("0x005D1000,0x00000000,,2,C\n0x005D1000,0x93631000,P,2,C\n", 2,
                             "3: the row is never reached, since line 2 matches before it");
    expectControllersRefused("0x005D1000,0x9A631000,P,2,C\n0x005d1000,0x9a631000,P,2,C\n", 2,
                             "3: the row is never reached, since line 2 matches before it");
}

TEST_F(StorageProducts, WithAModelOfTwoDisksAreRefused) {
    expectDrivesRefused("D,E,A,B\nF,D,A,B\n", 2, "3: the model D is that of line 2");
    ASSERT_TRUE(convert(controllersWith("", 0), drivesWith("D,D,A,B\n")))
        << "both names of one disk: " << output;
}

TEST_F(StorageProducts, WithTextsThatFillTheirFieldsAreAcceptedAndLongerOnesRefused) {
    const std::string model(40, 'M');
    const std::string part(32, 'P');
    const auto row = [](const std::string& a, const std::string& b, const std::string& c,
                        const std::string& d) { return a + "," + b + "," + c + "," + d + "\n"; };
    EXPECT_EQ(sizeof(vokStorageDrive::model), model.size() + 1);
    EXPECT_EQ(sizeof(vokStorageDrive::partNumberFirstPlatform), part.size() + 1);
    EXPECT_TRUE(convert(controllersWith("", 0), drivesWith(row(model, model, part, part)))) << output;
    std::remove((directory.path() + "/source.cpp").c_str());
    expectDrivesRefused(row(model + "M", "", "", ""), 1, "2: a model is longer than 40 characters");
    expectDrivesRefused(row("D", model + "M", "", ""), 1, "2: a model is longer than 40 characters");
    expectDrivesRefused(row("D", "", part + "P", ""), 1, "2: a part number is longer than 32 characters");
    expectDrivesRefused(row("D", "", "", part + "P"), 1, "2: a part number is longer than 32 characters");
}

// A disk reports its model in ASCII, and a length in characters is then one in bytes.
TEST_F(StorageProducts, WithACharacterThatIsNotPrintableAsciiAreRefused) {
    expectControllersRefused("0x005D1000,0x00000000,,2,K\xc3\xb6ln\n", 1,
                             "2: a character that is not printable ASCII");
    expectDrivesRefused("D,,A\t1,B\n", 1, "2: a character that is not printable ASCII");
}

TEST_F(StorageProducts, NeedThreeArguments) {
    run("a.csv b.csv");
    EXPECT_EQ(status, 2);
    EXPECT_EQ(output, "usage: storage_products.py CONTROLLERS.csv DRIVES.csv SOURCE.cpp\n");
    run(quoted("none.csv") + quoted("none.csv") + quoted("source.cpp"));
    EXPECT_EQ(status, 1);
    EXPECT_EQ(output, directory.path() + "/none.csv: No such file or directory\n");
}

}  // namespace
}  // namespace vokStorageProductsTest
