#include "engine/base/job_status.h"
#include "engine/base/numbers.h"
#include "engine/base/reporter.h"
#include "engine/base/signal.h"
#include "engine/base/status.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace tesk {
namespace {

TEST(Status, OnlyTheTablesValuesHaveNames)
{
    int named = 0;
    for (int code = -200; code <= 200; ++code) named += std::string(status_name(code)) != "(unknown)";
    EXPECT_EQ(named, 25);
    EXPECT_STREQ(status_name(0), "DSD_SUCCESS");
    EXPECT_STREQ(status_name(-130), "DSD_SIGACTION");
    for (const int code : {1, -7, -54, -61, -131}) EXPECT_STREQ(status_name(code), "(unknown)") << code;
}

TEST(Numbers, TakeTheWholeTextOrNothing)
{
    EXPECT_EQ(parseNumber("-0.85"), -0.85);
    EXPECT_EQ(parseNumber("1e2"), 100.0);
    EXPECT_EQ(parseInteger("0x40"), 64);
    EXPECT_EQ(parseInteger("64.0"), 64);
    for (const char* text : {"", " 1", "1 ", "12x", "1,5", "nan", "inf", "1e999", "--1", "."})
        EXPECT_FALSE(parseNumber(text)) << text;
    for (const char* text : {"64.5", "3e9", "-3e9"}) EXPECT_FALSE(parseInteger(text)) << text;
}

TEST(JobStatus, TheFirstFailureStays)
{
    JobStatus status;
    status.keep(DSD_SUCCESS);
    EXPECT_TRUE(status.ok());
    status.keep(DSD_ERROR_INPUT);
    status.keep(DSD_ERROR_OUTPUT);
    EXPECT_EQ(status.value(), DSD_ERROR_INPUT);
}

TEST(Reporter, FormatsAnyLength)
{
    CollectingReporter report;
    const std::string name(5000, 'x');
    report.line("Report", "%s|%d\n", name.c_str(), 7);
    EXPECT_EQ(report.text, "Report              \t" + name + "|7\n");
}

TEST(Signal, ChannelsCanBeArrangedAndTheGuardIsSilent)
{
    Signal signal(3, 100);
    for (std::uint32_t c = 0; c < 3; ++c)
        for (double& x : signal.samples(c)) x = c + 1.0;
    signal.swapChannels(0, 1);
    signal.keepFirst(2);
    ASSERT_EQ(signal.channels(), 2U);
    EXPECT_EQ(signal.channel(0)[99], 2.0);
    EXPECT_EQ(signal.channel(1)[99], 1.0);
    for (std::uint64_t i = 100; i < 100 + kGuardFrames; i += 13) ASSERT_EQ(signal.channel(0)[i], 0.0);
}

} // namespace
} // namespace tesk
