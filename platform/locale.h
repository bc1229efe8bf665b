// The locale of one thread.
#pragma once

namespace tesk::platform {

/// Switches the calling thread to the C locale while it lives, so that printf and strtod use a decimal point
/// even in a host whose locale has a comma.
class CLocale {
public:
    CLocale();
    ~CLocale();
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    void* previous_;
    void* own_;
};

} // namespace tesk::platform
