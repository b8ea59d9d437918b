// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/string.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

// C.UTF-8 is on every machine; LANGUAGE then names the translation.
class InGerman : public testing::Test {
protected:
    void SetUp() override {
        setenv("LANGUAGE", "de", 1);
        ASSERT_NE(std::setlocale(LC_MESSAGES, "C.UTF-8"), nullptr);
    }
    void TearDown() override {
        std::setlocale(LC_MESSAGES, "C");
        unsetenv("LANGUAGE");
    }
};

TEST_F(InGerman, ATextIsFoundByItsContext) {
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", "Command description").ToString(), "Gruppierung aufheben");
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", "Another context").ToString(), "Ungroup");
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", "").ToString(), "Ungroup");
}

TEST_F(InGerman, TheOriginalStaysWhatItIs) {
    Kernel::LocalisedString const text("Flip canvas", "Command description");
    EXPECT_EQ(text.ToString(), "Leinwand spiegeln");
    EXPECT_EQ(text.GetText(), "Flip canvas");
    EXPECT_EQ(text, Kernel::LocalisedString("Flip canvas", "Command description"));
}

TEST_F(InGerman, AnUnknownTextIsAnsweredAsItStands) {
    EXPECT_EQ(Kernel::LocalisedString("no such text", "Command description").ToString(), "no such text");
    EXPECT_EQ(Kernel::LocalisedString().ToString(), "");
}

TEST(Localisation, WithoutALanguageTheTextIsEnglish) {
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", "Command description").ToString(), "Ungroup");
}

} // namespace
