// Which area of a disc is meant.
#pragma once

namespace tesk {

enum class SacdAreaChoice { automatic, stereo, multichannel }; ///< automatic: stereo when the disc has it

} // namespace tesk
