#include "pipeline/chain_builder.h"
#include "pipeline/kernel/dispatch.h"

#include <gtest/gtest.h>
#include <string>

namespace tesk {
namespace {

std::string stages(const ConversionSettings& settings, int bits, CollectingReporter& report)
{
    p2p::effect::EffectChain chain;
    EXPECT_TRUE(
        buildChain(settings, bits, 2822400, kernel::kernels(), parallel::WorkerPool::instance(), report, chain));
    std::string names;
    for (const auto& stage : chain.stages()) names += std::string(stage->name()) + " ";
    return names;
}

TEST(ChainBuilder, PutsTheStagesInTheirFixedOrder)
{
    CollectingReporter report;
    ConversionSettings settings;
    EXPECT_EQ(stages(settings, 24, report), "soft-limiter sos-ef-noise-shaper ");
    EXPECT_NE(report.text.find("Default modulator: SOS-EF NS15 profile"), std::string::npos);
    EXPECT_NE(report.text.find("SOS-EF modulator: order 15 (auto-generated NTF, Lee peak 4.44 dB)"), std::string::npos);
    for (const int bits : {0, 8, 16})
        EXPECT_EQ(stages(settings, bits, report), "soft-limiter int16-ns sos-ef-noise-shaper ") << bits;
    EXPECT_NE(report.text.find("Int16 NS: activated (order=9, pole=0.750)"), std::string::npos);
    settings.softLimiterDelta = 0.0;
    EXPECT_EQ(stages(settings, 32, report), "sos-ef-noise-shaper ");
    settings.lookaheadLimiter = true;
    settings.sosEfOrder = 5;
    CollectingReporter chosen;
    EXPECT_EQ(stages(settings, 24, chosen), "lookahead-limiter sos-ef-noise-shaper ");
    EXPECT_EQ(chosen.text.find("Default modulator"), std::string::npos);
    EXPECT_NE(chosen.text.find("order 5 (auto-generated NTF, Lee peak 2.06 dB)"), std::string::npos);
}

TEST(ChainBuilder, OneModulatorByItsOptions)
{
    using S = ConversionSettings;
    const struct {
        void (*choose)(S&);
        const char *stages, *says;
    } table[] = {
        {[](S& s) { s.cifbOrder = 12; }, "soft-limiter cifb ", ""},
        {[](S& s) { s.mash = true; }, "soft-limiter mash ", "topology 421, output stage fir2"},
        {[](S& s) { s.mash = s.dither = true; }, "soft-limiter mash ", ""},
        {[](S& s) { s.orderGiven = true, s.order = 7; }, "soft-limiter noise-shaper ",
         "order 7, poles from 0.8500, NTF peak 4.73 dB"},
        {[](S& s) { s.orderGiven = s.dither = true; }, "soft-limiter dither noise-shaper ",
         "order 9, poles from 0.8893, NTF peak 4.44 dB"},
        {[](S& s) { s.orderGiven = s.dither = true, s.cifbOrder = 5; }, "soft-limiter cifb ", ""},
        {[](S& s) { s.orderGiven = s.psychoacoustic = true, s.order = 5; }, "soft-limiter noise-shaper ",
         "Psychoacoustic NTF coefficients injected (order 5, phon=40.0, strategy=1)"},
        {[](S& s) { s.orderGiven = s.multiPole = true, s.order = 5; }, "soft-limiter noise-shaper ",
         "Multi-pole DF2 coefficients set for order 5"},
        {[](S& s) {
             s.orderGiven = true, s.order = 5, s.multiPoles = {0.8, -0.9};
         },
         "soft-limiter cifb-noise-shaper ", "User-specified multi-poles: 2 values → tiled to 5 poles"},
        {[](S& s) {
             s.orderGiven = true, s.order = 5, s.multiPoles = {0.8, -0.9};
         },
         "soft-limiter cifb-noise-shaper ", "CIFB multi-poles: 5 poles (0.800→0.800)"},
        {[](S& s) { s.orderGiven = s.psychoacoustic = true, s.psyPhon = 200, s.multiPoles = {0.5}; },
         "soft-limiter noise-shaper ", "order 9, phon=100.0, strategy=1"},
        {[](S& s) { s.orderGiven = s.singlePole = true, s.multiPoles = {0.8}; }, "soft-limiter noise-shaper ",
         "CIFB single-pole fallback: -0.850"},
    };
    for (const auto& row : table) {
        ConversionSettings settings;
        row.choose(settings);
        CollectingReporter report;
        EXPECT_EQ(stages(settings, 24, report), row.stages);
        EXPECT_NE(report.text.find(row.says), std::string::npos) << report.text << row.says;
        EXPECT_EQ(report.text.find("Default modulator"), std::string::npos);
    }
}

TEST(ChainBuilder, WhatCannotBeDesignedIsAStatus)
{
    using S = ConversionSettings;
    const struct {
        void (*choose)(S&);
        const char* says;
    } table[] = {{[](S& s) { s.sosEfOrder = 13; }, "verified range [3, 11]"},
                 {[](S& s) { s.orderGiven = true, s.pole = -1; }, "Pole magnitude must be in [0.0, 1.0)"},
                 {[](S& s) {
                      s.orderGiven = true, s.zeros = {0.5, 1.5};
                  },
                  "Zeros must be in [0.0, 1.0]"},
                 {[](S& s) {
                      s.orderGiven = true, s.multiPoles = {0.5, 2};
                  },
                  "Pole magnitude must be in [0.0, 1.0)"}};
    for (const auto& row : table) {
        ConversionSettings settings;
        row.choose(settings);
        CollectingReporter report;
        p2p::effect::EffectChain chain;
        const auto built =
            buildChain(settings, 24, 2822400, kernel::kernels(), parallel::WorkerPool::instance(), report, chain);
        EXPECT_EQ(built.status(), DSD_ERROR_UNSUPPORTED_ORDER);
        EXPECT_NE(report.text.find(row.says), std::string::npos) << report.text;
    }
}

} // namespace
} // namespace tesk
