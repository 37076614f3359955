// The main function of tests that hold the plug-in's sources.
#include <gtest/gtest.h>

#include "tests/windows/support/wine.h"

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    testing_support::MendCanonicalUrls(nullptr);
    return RUN_ALL_TESTS();
}
