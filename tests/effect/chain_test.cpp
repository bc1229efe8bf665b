#include "effect/effect_chain.h"
#include "effect/soft_limiter_effect.h"
#include "effect/stage_registry.h"
#include "pipeline/kernel/dispatch.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace p2p::effect {
namespace {

/// Notes its calls in a shared log, and fails on demand.
class Probe final : public AudioEffect {
public:
    Probe(char id, std::string& log, PDM_ENCODING_STATUS result) : id_(id), log_(log), result_(result) {}
    const char* name() const override { return "probe"; }
    Status prepare(const EffectFormat& format) override
    {
        log_ += std::string("p") + id_;
        return result_ == DSD_SUCCESS ? AudioEffect::prepare(format) : Status(result_);
    }
    Status process(double**, std::size_t, unsigned) override
    {
        log_ += std::string("r") + id_;
        return result_;
    }

private:
    char id_;
    std::string& log_;
    PDM_ENCODING_STATUS result_;
};

TEST(EffectChain, RunsInOrderAndStopsAtTheFirstFailure)
{
    std::string log;
    EffectChain chain;
    chain.append(std::make_unique<Probe>('a', log, DSD_SUCCESS));
    chain.append(std::make_unique<Probe>('b', log, DSD_ERROR_QUANTIZATION));
    chain.append(std::make_unique<Probe>('c', log, DST_ERROR));
    double* none = nullptr;
    EXPECT_EQ(chain.process(&none, 0, 0).status(), DSD_ERROR_QUANTIZATION);
    EXPECT_EQ(log, "rarb");
    log.clear();
    EXPECT_EQ(chain.prepare({48000, 2, 10}).status(), DSD_ERROR_QUANTIZATION);
    EXPECT_EQ(log, "papb") << "what stands behind a failure stays unprepared";
}

TEST(EffectChain, StagesKeepTheContractOfTheirBase)
{
    EffectChain chain;
    chain.append(std::make_unique<SoftLimiterEffect>(0.05, tesk::kernel::kernels()));
    ASSERT_TRUE(chain.prepare({96000, 2, 0}));
    AudioEffect& stage = *chain.stages().front();
    EXPECT_EQ(stage.format().sampleRate, 96000U);
    EXPECT_EQ(stage.capabilities(), 1U);
    EXPECT_STREQ(stage.usage(), "--soft-limiter [delta:0.01-0.2]  soft limiter");
    struct Other : EffectConfig {
    } other;
    EXPECT_TRUE(stage.configure(&other)) << "a stage without a record ignores any";
    std::size_t produced = 7;
    EXPECT_TRUE(chain.flush(nullptr, &produced));
    EXPECT_EQ(produced, 0U);
    EXPECT_TRUE(chain.reset());
    EXPECT_EQ(stage.format().sampleRate, 0U);
}

TEST(StageRegistry, NamesAreUniqueAndCapabilitiesKnown)
{
    std::set<std::string> names;
    for (const StageEntry& entry : stageRegistry()) {
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
        EXPECT_TRUE(entry.capabilities == 1 || entry.capabilities == 3 || entry.capabilities == 25) << entry.name;
    }
    EXPECT_EQ(names.size(), 17U);
    EXPECT_EQ(findStage("resampler")->capabilities, 25U);
    EXPECT_EQ(findStage("none such"), nullptr);
}

} // namespace
} // namespace p2p::effect
