#include "engine/batch/turn_taking.h"

namespace tesk {

class TurnTaking::ItemReporter final : public Reporter {
public:
    ItemReporter(TurnTaking& turns, std::size_t index) : turns_(turns), index_(index) {}

    bool ended = false;
    std::vector<std::pair<Kind, std::string>> held;

protected:
    void write(Kind kind, std::string_view text) override { turns_.say(index_, kind, text); }

private:
    TurnTaking& turns_;
    std::size_t index_;
};

TurnTaking::TurnTaking(Reporter& to, std::size_t items, Printer printer) : to_(to), printer_(std::move(printer))
{
    for (std::size_t i = 0; i < items; ++i) items_.push_back(std::make_unique<ItemReporter>(*this, i));
}

TurnTaking::~TurnTaking() = default;

Reporter& TurnTaking::reporterOf(std::size_t index) { return *items_[index]; }

void TurnTaking::print(Reporter::Kind kind, std::string_view text)
{
    printer_([&] { to_.pass(kind, text); });
}

void TurnTaking::say(std::size_t index, Reporter::Kind kind, std::string_view text)
{
    const std::lock_guard guard(lock_);
    if (index == turn_)
        print(kind, text);
    else
        items_[index]->held.emplace_back(kind, text);
}

void TurnTaking::end(std::size_t index)
{
    const std::lock_guard guard(lock_);
    items_[index]->ended = true;
    while (turn_ < items_.size() && items_[turn_]->ended) {
        ++turn_;
        if (turn_ == items_.size()) break;
        for (const auto& [kind, text] : items_[turn_]->held) print(kind, text);
        items_[turn_]->held = {};
    }
}

} // namespace tesk
