// A kernel handle that closes itself.
#pragma once

#include <memory>

namespace platform {

struct HandleCloser {
    void operator()(void* handle) const;
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

// Takes a handle over; null for either of the two values by which the system says that there is none.
UniqueHandle ownHandle(void* handle);

}  // namespace platform
