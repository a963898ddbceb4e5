// The configuration file, from disk to the Action chains that BriskParser hands out.
#include <gtest/gtest.h>

#include <memory>

#include "config/BriskLoadXml.h"
#include "config/BriskParser.h"
#include "platform/BriskPlat.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempConfig.h"

namespace {

// Loads the configuration the way the service does and returns the parser.
std::unique_ptr<BriskParser> loadParser() {
    std::unique_ptr<BriskLoadXml> loader(createBriskLoadXml());
    std::map<int, Action*>* map = loader->loadXmlMap();
    return map == nullptr ? nullptr : std::make_unique<BriskParser>(map);
}

class ConfigLoaderTest : public ::testing::Test {
protected:
    LogCapture log;
};

TEST_F(ConfigLoaderTest, StepsBecomeActionsWithTheirPairsInDocumentOrder) {
    TempConfig cfg = TempConfig::withCommands(R"(
        <cmd id="12300" name="launch">
          <step><duration>0</duration><little_cpu_max>1200000</little_cpu_max><led>on</led></step>
          <step><duration>150</duration><tag_99>-7</tag_99></step>
        </cmd>)");
    auto parser = loadParser();
    ASSERT_NE(parser, nullptr);

    Action first;
    ASSERT_EQ(parser->doParse(12300, &first), 0);
    EXPECT_EQ(first.tagCount, 2);
    EXPECT_EQ(first.tagValues, (std::vector<int>{2, 1200000, 10, 1}))
        << "a named tag keeps its value; an unknown name is a platform item (10, 1)";
    EXPECT_EQ(first.keyValues,
              (std::vector<std::string>{"little_cpu_max", "1200000", "led", "on"}));
    ASSERT_NE(first.next, nullptr) << "the copied step leads on into the parser's chain";
    EXPECT_EQ(first.next->duration, 150);
    EXPECT_EQ(first.next->tagValues, (std::vector<int>{99, -7}));
    EXPECT_EQ(first.next->next, nullptr);
}

TEST_F(ConfigLoaderTest, BadStepsAreDroppedOneByOneAndTheCommandKeepsTheRest) {
    TempConfig cfg = TempConfig::withCommands(R"(
        <c id="1" name="a">
          <s><duration>10</duration></s>
          <s><duration>12x</duration></s>
          <s><gpu_max></gpu_max></s>
          <s><duration>40</duration></s>
        </c>
        <c id="2"><s><big_cpu_max>99999999999</big_cpu_max></s><s><duration>5</duration></s></c>
        <c id="3"><s/></c>)");
    auto parser = loadParser();
    ASSERT_NE(parser, nullptr);

    Action a;
    ASSERT_EQ(parser->doParse(1, &a), 0);
    EXPECT_EQ(a.duration, 10);
    EXPECT_EQ(a.next, nullptr) << "steps 2 and 3 are dropped, and a fourth step is never read";
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "xml gpu_max's value is NULL!"));

    Action b;
    ASSERT_EQ(parser->doParse(2, &b), 0);
    EXPECT_EQ(b.duration, 5) << "an out-of-range tag value drops its step only";

    Action c;
    ASSERT_EQ(parser->doParse(3, &c), 0);
    EXPECT_EQ(c.duration, 0) << "a step without children is a step with empty lists";
    EXPECT_EQ(c.tagCount, 0);
}

TEST_F(ConfigLoaderTest, IdsAreCheckedAndTheFirstDefinitionWins) {
    TempConfig cfg = TempConfig::withCommands(R"(
        <c id="5" name="first"><s><duration>1</duration></s></c>
        <c id="5" name="second"><s><duration>2</duration></s></c>
        <c id="abc"><s><duration>3</duration></s></c>
        <c id="4294967296"><s><duration>4</duration></s></c>
        <c><s><duration>5</duration></s></c>
        <c id="6"/>)");
    auto parser = loadParser();
    ASSERT_NE(parser, nullptr);

    Action five;
    ASSERT_EQ(parser->doParse(5, &five), 0);
    EXPECT_EQ(five.name, "first");
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "multi-cmdId exist! we choose the first one, cmdId=5"),
              1);

    Action six;
    six.duration = 77;
    EXPECT_EQ(parser->doParse(6, &six), 0);
    EXPECT_EQ(six.duration, 77) << "a command without steps leaves the output untouched";
    EXPECT_EQ(six.name, "");

    Action none;
    EXPECT_EQ(parser->doParse(0, &none), 1) << "elements without a usable id are skipped";
    EXPECT_EQ(parser->doParse(5, nullptr), 2);
    EXPECT_TRUE(log.has(ANDROID_LOG_ERROR, "doParse failed, nullptr!"));
}

// tinyxml2 compares each new attribute of an element with all the earlier ones
// (100,000 attributes on one element take minutes to parse, a million never
// end), so such files are refused before they are parsed.
TEST_F(ConfigLoaderTest, BrokenFilesFailWithTheirCodes) {
    BriskParser empty(nullptr);
    Action out;
    EXPECT_EQ(empty.doParse(1, &out), 2);

    std::string deep = "<policy><c id=\"1\"><s>";
    for (int i = 0; i < 5000; ++i) {
        deep += "<a>";
    }
    auto attributes = [](size_t count) {
        std::string text;
        for (size_t i = 0; i < count; ++i) {
            text += " a" + std::to_string(i) + "=\"1\"";
        }
        return text;
    };
    const size_t limit = BriskLoadXml::kMaxAttributesPerElement;
    // Quotes outside start tags and a '>' inside a value do not upset the count.
    const std::string ordinary = "<?xml version=\"1.0\"?><!-- \"\"\"\"\" -->\n<policy>\n" +
                                 std::string("<c id=\"1\"") + attributes(limit - 1) +
                                 "><s><x>\"'\"'</x><![CDATA[\"\"]]></s></c>\n<d v=\"<>\" />";
    struct Case {
        std::string content;
        int code;
        int refusedLine = 0;  // of an element with too many attributes
    };
    const Case cases[] = {
        {"", 2},
        {deep, 2},
        {"<policy><c id=\"1\"><s>", 2},
        {"\x01\x02\xff\xfe binary", 2},
        {"<other><c id=\"1\"/></other>", 3},
        {"<policy/>", 3},
        {"<policy>text only</policy>", 3},
        {ordinary + "</policy>", 0},
        {ordinary + "\n\n<e" + attributes(limit + 1) + "/></policy>", 2, 6},
        {"<policy><c id=\"1\"" + attributes(100000) + "/></policy>", 2, 1},
    };
    for (const Case& c : cases) {
        TempConfig cfg = TempConfig::withContent(c.content);
        std::unique_ptr<BriskLoadXml> loader(createBriskLoadXml());
        std::map<int, RawXmlData*> raw;
        log.clear();
        EXPECT_EQ(loader->innerLoad(cfg.path().c_str(), &raw), c.code) << c.content.substr(0, 80);
        BriskLoadXml::freeRawXmlMap(raw);
        if (c.refusedLine != 0) {
            EXPECT_TRUE(log.has(ANDROID_LOG_ERROR,
                                "LoadFile refused, path:" + cfg.path() + ", the element at line " +
                                    std::to_string(c.refusedLine) + " has more than 64 attributes"))
                << "line " << c.refusedLine;
        }
        if (c.code != 0) {
            EXPECT_EQ(loader->loadXmlMap(), nullptr);
            EXPECT_TRUE(log.has(ANDROID_LOG_ERROR,
                                "get brisk_config_cust.xml failed!,ret:" + std::to_string(c.code)));
        }
    }
}

}  // namespace
