#include "tools/option_docs/documents.h"

namespace tesk::docs {

std::span<const Document> documents()
{
    static constexpr Document all[] = {{"bash", bashCompletion}, {"zsh", zshCompletion}, {"fish", fishCompletion},
                                       {"man1", programPage},    {"man3", enginePage},   {"man5-preset", presetPage},
                                       {"man5-batch", batchPage}};
    return all;
}

} // namespace tesk::docs
