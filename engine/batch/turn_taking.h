// The report of jobs that run side by side, as if they had run one after the other.
#pragma once

#include "engine/base/reporter.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tesk {

/// Hands every item a reporter of its own. The item whose turn it is speaks at once; what the later ones say is kept
/// until all before them have ended.
class TurnTaking {
public:
    /// What prints a text: calls the function that it is given, once.
    using Printer = std::function<void(const std::function<void()>&)>;

    TurnTaking(Reporter& to, std::size_t items, Printer printer);
    ~TurnTaking();
    TurnTaking(const TurnTaking&) = delete;
    TurnTaking& operator=(const TurnTaking&) = delete;

    /// Of item `index`, from 0; for one thread at a time.
    Reporter& reporterOf(std::size_t index);
    /// The item has said everything.
    void end(std::size_t index);

private:
    class ItemReporter;

    void say(std::size_t index, Reporter::Kind kind, std::string_view text);
    void print(Reporter::Kind kind, std::string_view text);

    std::mutex lock_;
    Reporter& to_;
    Printer printer_;
    std::size_t turn_ = 0;
    std::vector<std::unique_ptr<ItemReporter>> items_;
};

} // namespace tesk
