#include <gtest/gtest.h>

#include "base/text/message_template.h"

namespace {

TEST(MessageTemplate, FillsPlaceholdersAndHalvesPercentRuns) {
    MessageTemplate message = MessageTemplate::Create(u"%1 of %2, 100%%, %%%1, %x, %0!");
    message.SetText(1, u"a");
    EXPECT_EQ(message.Render(), u"a of , 100%, %a, x, !");
    message.SetText(2, u"%1");
    EXPECT_EQ(message.Render(), u"a of %1, 100%, %a, x, !");
}

TEST(MessageTemplate, SurvivesAbsurdNumbers) {
    MessageTemplate message = MessageTemplate::Create(u"[%99999999999999999999999999999999]");
    message.SetText(static_cast<size_t>(-1), u"never");
    EXPECT_EQ(message.Render(), u"[9]");
}

}  // namespace
