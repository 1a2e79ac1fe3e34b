#include "base/ThreadOwner.h"

#include "base/Log.h"

#include <cstdio>
#include <cstdlib>

namespace tarvo {

void assertThread(bool isRight, std::source_location where) {
    if (isRight)
        return;
    Log::assertThat(false, "wrong thread", where);
#ifndef NDEBUG
    std::fprintf(stderr, "%s:%u: %s: wrong thread\n", where.file_name(), where.line(), where.function_name());
    std::abort();
#endif
}

} // namespace tarvo
