#include <gtest/gtest.h>

#include "base/main_thread.h"

namespace {

TEST(ThreadSafeCall, FailsForNothingAndForWhatThrows) {
    EXPECT_EQ(MakeObject<ThreadSafeCall>(std::function<HRESULT()>())->Call(), E_FAIL);
    EXPECT_EQ(MakeObject<ThreadSafeCall>([]() -> HRESULT { throw 1; })->Call(), E_FAIL);
    EXPECT_EQ(MakeObject<ThreadSafeCall>([] { return S_FALSE; })->Call(), S_FALSE);
}

}  // namespace
