#include <gtest/gtest.h>

#include <climits>

#include "tools/protocol/JsonReader.h"

// briskctl reads documents that another program wrote: a number where an int is
// expected becomes one only when it is whole and in range, never through an
// undefined conversion.
TEST(JsonReaderTest, NumbersBecomeIntegersOnlyWhenWholeAndInRange) {
    Json doc;
    std::string error;
    ASSERT_TRUE(parseJson(R"({"id": 12300, "negative": -7, "huge": 1e300, "half": 2.5,
                              "big": 3000000000, "text": "12", "flag": true})",
                          &doc, &error))
        << error;
    EXPECT_EQ(doc.integerOr("id", INT_MIN, INT_MAX, 0), 12300);
    EXPECT_EQ(doc.integerOr("negative", INT_MIN, INT_MAX, 0), -7);
    EXPECT_EQ(doc.integerOr("big", LLONG_MIN, LLONG_MAX, 0), 3000000000LL);
    for (const char* key : {"huge", "half", "big", "text", "flag", "missing"}) {
        EXPECT_EQ(doc.integerOr(key, INT_MIN, INT_MAX, -1), -1) << key;
    }
    EXPECT_EQ(doc.integerOr("huge", LLONG_MIN, LLONG_MAX, -1), -1);
}
