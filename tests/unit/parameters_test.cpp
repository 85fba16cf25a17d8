// Parsing of the host's parameter records, and the help text in its modes.
#include <gtest/gtest.h>

#include "golden.h"
#include "parameters.h"
#include "printers.h"
#include "testhost.h"

using namespace tov::logging_layer;
using tov::testhost::MakeRecords;
using tov::testhost::Parameter;

namespace {

LayerParameterMap Parse(const std::vector<Parameter>& parameters) {
    const auto records = MakeRecords(parameters);
    return ParseLayerParameters(records.data(), records.size(), KnownLayerArguments.data(),
                                KnownLayerArguments.size());
}

TEST(Parameters, CopiesAValueOfTheFullFieldLength) {
    const std::u16string value(511, u'v');
    const LayerParameterMap map = Parse({{u"verbose", value}});
    EXPECT_EQ(map.at(u"verbose").front(), value);
}

TEST(Parameters, EmptyKnownTableOrNoRecordsGiveNothing) {
    const auto records = MakeRecords({{u"verbose", u"1"}});
    EXPECT_TRUE(ParseLayerParameters(records.data(), 1, KnownLayerArguments.data(), 0).empty());
    EXPECT_TRUE(ParseLayerParameters(nullptr, 0, KnownLayerArguments.data(), 1).empty());
}

TEST(HelpText, PlainAndMarkdownForms) {
    using tov::printing::WideToUtf8;
    tov::test::ExpectGolden("help_text_mode0.txt",
                            WideToUtf8(MakeLayerHelpText(&kLayerDescription, KnownLayerArguments, 0).c_str()));
    tov::test::ExpectGolden("help_text_mode1.txt",
                            WideToUtf8(MakeLayerHelpText(&kLayerDescription, KnownLayerArguments, 1).c_str()));
    EXPECT_EQ(MakeLayerHelpText(&kLayerDescription, KnownLayerArguments, 2), u"");
}

TEST(HelpText, LeavesOutNamelessArgumentsAndMissingDescriptions) {
    const std::vector<LayerArgument> arguments = {
        {nullptr, u"hidden", u"string"}, {u"bare", nullptr, u"string"}, {u"x", u"d", nullptr}};
    const LayerDescription description = {u"T", u"U", nullptr};
    EXPECT_EQ(MakeLayerHelpText(&description, arguments, 0),
              u"\nT Layer\n\nUsage : U\n\nArguments:\n\tbare\n\tx\td\n");
    EXPECT_EQ(MakeLayerHelpText(&description, arguments, 1),
              u"\n# T Layer\n\n### Usage : U\n\n## Arguments:\n - *bare\n - *x* - d\n\n\n");
}

}  // namespace
