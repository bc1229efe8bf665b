// The status of a whole job, shared by its threads: the first failure wins and stays.
#pragma once

#include "engine/base/result.h"

#include <mutex>

namespace tesk {

/// Any thread may call any member.
class JobStatus {
public:
    /// Stores a failure unless there is one already.
    void keep(Status status)
    {
        std::lock_guard guard(lock_);
        if (value_ == DSD_SUCCESS) value_ = status.status();
    }
    PDM_ENCODING_STATUS value() const
    {
        std::lock_guard guard(lock_);
        return value_;
    }
    bool ok() const { return value() == DSD_SUCCESS; }

private:
    mutable std::mutex lock_;
    PDM_ENCODING_STATUS value_ = DSD_SUCCESS;
};

} // namespace tesk
