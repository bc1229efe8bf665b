// Options whose arguments are no single flag, number, word or text. Each reads its arguments, stores them
// and answers true, or prints the message and answers false.
#pragma once

#include "engine/options/option_use.h"

namespace tesk {

bool applyMash(OptionUse& use);         // [TOPOLOGY] [EFM]
bool applyNumberList(OptionUse& use);   // N... into the row's destination
bool applyEqBand(OptionUse& use);       // Fs G W
bool applyHarmonics(OptionUse& use);    // RATIO MODE
bool applyGainDb(OptionUse& use);       // DB
bool applyHeadroom(OptionUse& use);     // DB|auto
bool applyParametricEq(OptionUse& use); // f,g,q;...
bool applyCrossfeed(OptionUse& use);    // meier|custom [LF] [HF]
bool applyCompressor(OptionUse& use);   // THR RATIO [soft|hard] [ATK] [REL]
bool applySurround(OptionUse& use);     // DELAY [MIX] [side] [BALANCE]
bool applyCompand(OptionUse& use);      // in,out;... [ATK] [REL]
bool applyNoiseProfile(OptionUse& use); // FILE [DUR]
bool applyOptionalFile(OptionUse& use); // [FILE] into the row's destination
bool applyFileList(OptionUse& use);     // FILE... into the row's destination
bool skipHostArgument(OptionUse& use);  // the entry has read it already

} // namespace tesk
