#include "platform/locale.h"

#include <locale.h>

namespace tesk::platform {

CLocale::CLocale() : previous_(nullptr), own_(newlocale(LC_ALL_MASK, "C", nullptr))
{
    if (own_) previous_ = uselocale(static_cast<locale_t>(own_));
}

CLocale::~CLocale()
{
    if (!own_) return;
    uselocale(static_cast<locale_t>(previous_));
    freelocale(static_cast<locale_t>(own_));
}

} // namespace tesk::platform
