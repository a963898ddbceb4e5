// The words every reader of text shares: numbers in their three forms, client
// names, tag names. Each tool takes its input through these, so a slip here
// would show in all of them at once.
#include <gtest/gtest.h>

#include "config/Vocabulary.h"

namespace {

using Form = Vocabulary::NumberForm;

bool parses(const std::string& text, Form form, long long low, long long high, long long want) {
    long long value = -12345;
    return Vocabulary::parseDecimal(text, form, low, high, &value) && value == want;
}

bool refused(const std::string& text, Form form, long long low = -100, long long high = 100) {
    long long value = -12345;
    return !Vocabulary::parseDecimal(text, form, low, high, &value) && value == -12345;
}

TEST(VocabularyTest, NumbersAreWholeDecimalsOfTheirFormWithinTheirBounds) {
    EXPECT_TRUE(parses(" -42\t", Form::Padded, -100, 100, -42)) << "files allow blanks around";
    EXPECT_TRUE(parses("+7", Form::Signed, -100, 100, 7));
    EXPECT_TRUE(parses("4294967295", Form::Digits, 0, 4294967295LL, 4294967295LL));
    EXPECT_TRUE(refused(" 7", Form::Signed)) << "command lines take no blanks";
    EXPECT_TRUE(refused("-7", Form::Digits)) << "counts and ids take no sign";
    EXPECT_TRUE(refused("101", Form::Padded)) << "above the bound";
    EXPECT_TRUE(refused("99999999999999999999", Form::Digits, 0, 1LL << 62)) << "overflow";
    EXPECT_TRUE(refused("", Form::Padded));
    EXPECT_TRUE(refused("12x", Form::Padded));
    EXPECT_TRUE(refused(std::string("1\0", 2), Form::Padded)) << "an embedded NUL ends nothing";
    int value = 0;
    EXPECT_TRUE(Vocabulary::parseInt("-2147483648", &value) && value == -2147483648);
    EXPECT_FALSE(Vocabulary::parseInt("2147483648", &value)) << "int32 bounds";
}

TEST(VocabularyTest, ClientsAreNamedInAnyLetterCaseAndTagsByNameOrNumber) {
    int id = 0;
    EXPECT_TRUE(Vocabulary::clientForName("fErN", &id) && id == FREQ_CLIENT_FERN);
    EXPECT_FALSE(Vocabulary::clientForName("DUSKY", &id));
    EXPECT_STREQ(Vocabulary::clientName(FREQ_CLIENT_MOSS), "MOSS");
    EXPECT_EQ(Vocabulary::clientName(FREQ_CLIENT_CONTROL), nullptr);

    int tag = 0;
    EXPECT_TRUE(Vocabulary::tagForName("top_app", &tag) && tag == BRISK_TAG_GROUP_TOP_APP);
    EXPECT_TRUE(Vocabulary::tagForName("tag_-3", &tag) && tag == -3);
    EXPECT_FALSE(Vocabulary::tagForName("tag_ 3", &tag)) << "a tag number takes no blanks";
    EXPECT_FALSE(Vocabulary::tagForName("duration", &tag)) << "duration is no tag";
    EXPECT_STREQ(Vocabulary::nameForTag(BRISK_TAG_BIG_CPU_MAX), "big_cpu_max");
}

// Payload words and the guesses at typos are exercised through brisk-sim and
// briskctl (their scenario and operator tests); here the edges they do not reach.
TEST(VocabularyTest, PeopleMayUseWordsWhereTheServiceTakesNumbers) {
    int payload = 7;
    EXPECT_TRUE(Vocabulary::payloadForName("Begin", &payload) && payload == Vocabulary::kBegin);
    EXPECT_FALSE(Vocabulary::payloadForName("ending", &payload));
    EXPECT_STREQ(Vocabulary::resultMeaning(1), "the service is not initialised");
    EXPECT_STREQ(Vocabulary::resultMeaning(4), "a part of the service is missing");
    EXPECT_EQ(Vocabulary::resultMeaning(9), nullptr) << "a back-end's own code has no name";
    EXPECT_EQ(Vocabulary::suggestName("GPU_MAX"), "gpu_max") << "letter case is no edit";
    EXPECT_EQ(Vocabulary::suggestName("duraton", {Vocabulary::kDurationKey}), "duration");
    EXPECT_EQ(Vocabulary::suggestName("frequency"), "") << "nothing close: no guess";
}

}  // namespace
