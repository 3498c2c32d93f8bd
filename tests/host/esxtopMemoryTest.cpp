#include "host/esxtopMemory.h"

#include <gtest/gtest.h>
#include <climits>
#include <string>

namespace esxtopMemoryTest {
namespace {

EsxtopMemory memoryOf(const std::string& text) {
    FILE* file = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), file);
    std::rewind(file);
    const EsxtopMemory memory = readEsxtopMemory(file);
    std::fclose(file);
    return memory;
}

#define EXPECT_MEMORY(text, total, free)             \
    do {                                             \
        const EsxtopMemory memory_ = memoryOf(text); \
        EXPECT_EQ(memory_.totalMBytes, total);       \
        EXPECT_EQ(memory_.freeMBytes, free);         \
    } while (false)

// One sample in esxtop's own form: each line ends in a comma.
const std::string header =
    R"x("(PDH-CSV 4.0) (UTC)(0)","\\esx1\Memory\Memory Overcommit (1 Minute Avg)",)x"
    R"x("\\esx1\Memory\Machine MBytes","\\esx1\Memory\Kernel MBytes","\\esx1\Memory\NonKernel MBytes",)x"
    R"x("\\esx1\Memory\Free MBytes","\\esx1\Physical Disk NFS Volume(x)\MBytes Read/sec",)x";
const std::string values = R"("05/15/2018 02:13:06","0.00","524288","1087","1742","262144","0.00",)";

TEST(EsxtopMemory, FindsItsTwoColumnsByName) {
    EXPECT_MEMORY(header + "\n" + values + "\n", 524288, 262144);
}

TEST(EsxtopMemory, NeedsNoNewlineAfterTheValues) {
    EXPECT_MEMORY(header + "\n" + values, 524288, 262144);
}

TEST(EsxtopMemory, TheColumnsMayBeInTheOtherOrder) {
    EXPECT_MEMORY(
        "\"(PDH-CSV 4.0)\",\"\\\\h\\Memory\\Free MBytes\",\"\\\\h\\Memory\\Machine MBytes\",\n"
        "\"time\",\"11\",\"22\",\n",
        22, 11);
}

TEST(EsxtopMemory, OnlyTheFreeColumnIsIdentifiedByItsGroup) {
    EXPECT_MEMORY(
        "\"t\",\"\\\\h\\Other\\Free MBytes\",\"\\\\h\\Other\\Machine MBytes\",\n\"time\",\"1\",\"2\",\n", 2,
        0);
}

TEST(EsxtopMemory, TheFirstColumnOfANameCounts) {
    EXPECT_MEMORY(
        "\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n"
        "\"time\",\"1\",\"2\",\"3\",\"4\",\n",
        1, 2);
}

TEST(EsxtopMemory, TheNameOfTheFreeColumnHasSingleBackslashes) {
    EXPECT_MEMORY("\"t\",\"\\\\h\\\\Memory\\\\Free MBytes\",\n\"time\",\"1\",\n", 0, 0);
}

TEST(EsxtopMemory, ReadsTheIntegerAfterTheQuote) {
    EXPECT_MEMORY("\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"time\",\"1500.75\",\" -12x\",\n",
                  1500, -12);
}

TEST(EsxtopMemory, AValueWithoutAQuoteOrANumberIsIgnored) {
    EXPECT_MEMORY("\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"time\",1500,\"many\",\n", 0, 0);
    EXPECT_MEMORY("\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"time\", \"1500\",\"\",\n", 0, 0);
}

TEST(EsxtopMemory, AValueBeyondALongIsTheNearestLong) {
    EXPECT_MEMORY(
        "\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"time\",\"99999999999999999999999\",\"-9"
        "9999999999999999999\",\n",
        LONG_MAX, LONG_MIN);
}

TEST(EsxtopMemory, AMissingColumnMeans0) {
    EXPECT_MEMORY("\"t\",\"\\\\h\\Memory\\Machine MBytes\",\n\"time\",\"8\",\n", 8, 0);
    EXPECT_MEMORY("\"t\",\"\\\\h\\Memory\\Free MBytes\",\n\"time\",\"8\",\n", 0, 8);
    EXPECT_MEMORY("\"t\",\"x\",\n\"time\",\"8\",\n", 0, 0);
}

TEST(EsxtopMemory, ValuesThatEndBeforeTheColumnMean0) {
    EXPECT_MEMORY(header + "\n\"05/15/2018 02:13:06\",\"0.00\",\n", 0, 0);
    EXPECT_MEMORY(header + "\n", 0, 0);
}

TEST(EsxtopMemory, AnEmptyFileMeans0) {
    EXPECT_MEMORY("", 0, 0);
    EXPECT_MEMORY(",", 0, 0);
    EXPECT_MEMORY("\n", 0, 0);
    EXPECT_MEMORY(",,,\n,,,\n,,,", 0, 0);
}

TEST(EsxtopMemory, WithoutACommaAtItsEndTheHeaderNeverEndsAndNoValueIsRead) {
    const std::string shortHeader = header.substr(0, header.size() - 1);
    EXPECT_MEMORY(shortHeader + "\n" + values + "\n", 0, 0);
    const std::string shortValues = values.substr(0, values.size() - 1);
    EXPECT_MEMORY(shortHeader + "\n" + shortValues + "\n", 0, 0);
}

TEST(EsxtopMemory, ACarriageReturnBeforeTheNewlineKeepsTheHeaderOpenToo) {
    EXPECT_MEMORY(header + "\r\n" + values + "\r\n", 0, 0);
}

TEST(EsxtopMemory, TheLastValuesWinAfterARepeatedHeader) {
    const std::string later = R"("05/15/2018 02:14:06","0.00","600000","1087","1742","100","0.00",)";
    EXPECT_MEMORY(header + "\n" + values + "\n" + header + "\n" + later + "\n", 600000, 100);
}

TEST(EsxtopMemory, TheColumnsOfTheFirstHeaderApplyToALaterSampleOfAnotherLayout) {
    EXPECT_MEMORY(
        "\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"time\",\"1\",\"2\",\n"
        "\"t\",\"\\Memory\\Free MBytes\",\"Machine MBytes\",\n\"time\",\"3\",\"4\",\n",
        3, 4);
}

TEST(EsxtopMemory, TheColumnsOfAHeaderCutByACrashApply) {
    EXPECT_MEMORY(header.substr(0, header.size() - 40) + header + "\n" + values + "\n", 524288, 262144);
}

TEST(EsxtopMemory, TheLastOfSeveralLinesOfValuesCounts) {
    EXPECT_MEMORY(
        "\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"a\",\"1\",\"2\",\n\"b\",\"3\",\"4\",\n", 3,
        4);
}

TEST(EsxtopMemory, AValueMissingFromTheLastLineKeepsThePreviousOne) {
    EXPECT_MEMORY("\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",\n\"a\",\"1\",\"2\",\n\"b\",\"3\",\n",
                  3, 2);
}

TEST(EsxtopMemory, DataFieldsBeyondTheColumnsAreIgnored) {
    std::string wideHeader = "\"t\",\"Machine MBytes\",\"\\Memory\\Free MBytes\",";
    std::string wideValues = "\n\"time\",\"1\",\"2\",";
    for (int column = 0; column < 20000; ++column) {
        wideHeader += "\"\\\\h\\Physical Cpu(" + std::to_string(column) + ")\\% Processor Time\",";
        wideValues += "\"99.00\",";
    }
    EXPECT_MEMORY(wideHeader + wideValues + "\n", 1, 2);
}

TEST(EsxtopMemory, AnEndlessFieldTakesNoMoreMemoryThanAShortOne) {
    EXPECT_MEMORY(std::string(20 << 20, 'x') + header + "\n" + values, 524288, 262144);
    EXPECT_MEMORY(header + "\n" + std::string(20 << 20, 'x'), 0, 0);
}

TEST(EsxtopMemory, ZeroBytesDoNoHarm) {
    const std::string zeros(5000, '\0');
    EXPECT_MEMORY(zeros + "," + zeros + "\n,", 0, 0);
    EXPECT_MEMORY(header + "\n\"time\",\"0.00\",\"5" + zeros + "6\",\"1\",\"2\",\"7\",\"x\",", 5, 7);
}

#undef EXPECT_MEMORY

}  // namespace
}  // namespace esxtopMemoryTest
