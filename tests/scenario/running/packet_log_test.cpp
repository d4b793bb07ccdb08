// A packet is written to the log as the format text: whatever it holds must find something harmless to consume.
#include "console/PacketLog.h"

#include "tests/scenario/running/HostSeams.h"
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

struct FormatRow {
    const char* name;
    const char* packet;
    std::string text;
};

class PacketAsFormat : public Running, public testing::WithParamInterface<FormatRow> {};

class PacketAsText : public Running, public testing::WithParamInterface<FormatRow> {};

const std::string nul(1, '\0');

}  // namespace

TEST_P(PacketAsFormat, LogPacket_Conversions_AreFed) {
    Cv::logPacket(GetParam().packet);
    EXPECT_EQ(rig.log_formats(), Texts{GetParam().packet});
    EXPECT_EQ(rig.log(), Texts{GetParam().text});
    EXPECT_EQ(cLibraryText(), GetParam().text) << "printf of the C library, which takes addresses at their word";
}

INSTANTIATE_TEST_SUITE_P(Conversions, PacketAsFormat,
                         testing::Values(FormatRow{"None", "A", "A"}, FormatRow{"Percent", "a%%b", "a%b"},
                                         FormatRow{"d", "%d", "0"}, FormatRow{"i", "%i", "0"}, FormatRow{"o", "%o", "0"},
                                         FormatRow{"u", "%u", "0"}, FormatRow{"x", "%x", "0"}, FormatRow{"X", "%X", "0"},
                                         FormatRow{"c", "%c", nul}, FormatRow{"s", "<%s>", "<>"},
                                         FormatRow{"n", "<%n>", "<>"}, FormatRow{"p", "%p", "(nil)"},
                                         FormatRow{"f", "%f", "0.000000"}, FormatRow{"F", "%F", "0.000000"},
                                         FormatRow{"e", "%e", "0.000000e+00"}, FormatRow{"E", "%E", "0.000000E+00"},
                                         FormatRow{"g", "%g", "0"}, FormatRow{"G", "%G", "0"},
                                         FormatRow{"a", "%a", "0x0p+0"}, FormatRow{"A", "%A", "0X0P+0"}),
                         byName);

INSTANTIATE_TEST_SUITE_P(Lengths, PacketAsFormat,
                         testing::Values(FormatRow{"hhd", "%hhd", "0"}, FormatRow{"hd", "%hd", "0"},
                                         FormatRow{"ld", "%ld", "0"}, FormatRow{"lld", "%lld", "0"},
                                         FormatRow{"jd", "%jd", "0"}, FormatRow{"zu", "%zu", "0"},
                                         FormatRow{"tx", "%tx", "0"}, FormatRow{"ls", "<%ls>", "<>"},
                                         FormatRow{"lc", "%lc", nul}, FormatRow{"lf", "%lf", "0.000000"},
                                         FormatRow{"Lf", "%Lf", "0.000000"}, FormatRow{"La", "%La", "0x0p+0"},
                                         FormatRow{"hhn", "%hhn", ""}, FormatRow{"hn", "%hn", ""},
                                         FormatRow{"ln", "%ln", ""}, FormatRow{"lln", "%lln", ""},
                                         FormatRow{"jn", "%jn", ""}, FormatRow{"zn", "%zn", ""}, FormatRow{"tn", "%tn", ""}),
                         byName);

INSTANTIATE_TEST_SUITE_P(
    Fields, PacketAsFormat,
    testing::Values(FormatRow{"Width", "%5d", "    0"}, FormatRow{"WidthWithZero", "%10d", std::string(9, ' ') + "0"},
                    FormatRow{"Left", "%-5d|", "0    |"}, FormatRow{"Plus", "%+d", "+0"},
                    FormatRow{"Zeros", "%05d", "00000"}, FormatRow{"Alternate", "%#o", "0"}, FormatRow{"Blank", "% d", " 0"},
                    FormatRow{"ManyFlags", "%-+ #0+d", "+0"}, FormatRow{"ZerosAreNoWidth", "%00000001d", "0"},
                    FormatRow{"Precision", "%.3d", "000"}, FormatRow{"WidthAndPrecision", "%5.3d", "  000"},
                    FormatRow{"EmptyPrecision", "%.f", "0"}, FormatRow{"StarWidth", "%*d", "0"},
                    FormatRow{"StarPrecision", "%.*f", "0"}, FormatRow{"BothStars", "<%*.*d>", "<>"},
                    FormatRow{"ThreeDigits", "%999d", std::string(998, ' ') + "0"},
                    FormatRow{"ThreeDigitPrecision", "%.999d", std::string(999, '0')}),
    byName);

INSTANTIATE_TEST_SUITE_P(
    Several, PacketAsFormat,
    testing::Values(FormatRow{"StringsAndCount", "%s%s%n", ""}, FormatRow{"FiveNumbers", "%d%d%d%d%d", "00000"},
                    FormatRow{"FiveStrings", "%s%s%s%s%sx", "x"}, FormatRow{"FiveCounts", "%n%n%n%n%nx", "x"},
                    FormatRow{"LongCounts", "%ln%lln%n", ""}, FormatRow{"StarsAndStrings", "%*s%*s%*s", ""},
                    FormatRow{"StarsAndCounts", "%*d%n%*d%n", "00"}, FormatRow{"SixWithStars", "%*.*d%*.*d", ""},
                    FormatRow{"FiveFloating", "%f%f%f%f%fx", "0.0000000.0000000.0000000.0000000.000000x"},
                    FormatRow{"ThreeLong", "%Lg%Lg%Lg", "000"}, FormatRow{"LongAndFloating", "%Lg%g%g%g", "0000"},
                    FormatRow{"LongAndFourNumbers", "%Lg%d%d%d%d", "00000"}, FormatRow{"LongAndStrings", "%s%Lg%s%n", "0"},
                    FormatRow{"LongAndFiveWithStars", "%*.*Lg%*.*d", "0"},
                    FormatRow{"LongAndFloatingWithStars", "%*.*Lg%*.*g", "00"},
                    FormatRow{"LongAndFiveFloating", "%g%g%g%g%g%Lg", "000000"},
                    FormatRow{"SevenWithStars", "%*d%*d%*d%d", "0000"}, FormatRow{"TextSecond", "%d%s", "0"},
                    FormatRow{"TextThird", "%d%d%s", "00"}, FormatRow{"TextFourth", "%d%d%d%s", "000"},
                    FormatRow{"TextFifth", "%d%d%d%d%s", "0000"}, FormatRow{"TextSixth", "%*d%*d%d%s", "000"},
                    FormatRow{"TextSeventh", "%*d%*d%*d%s", "000"}, FormatRow{"TextFourthBesideLong", "%d%d%d%s%Lg", "0000"},
                    FormatRow{"TextFifthBesideLong", "%*d%*d%s%Lg", "000"},
                    FormatRow{"FloatingAndStrings", "%s%f%s%g%n", "0.0000000"}, FormatRow{"Mixture", "%d%g%s%Lg%n", "000"}),
    byName);

TEST_P(PacketAsText, LogPacket_NothingCouldFeedIt_WrittenAsItStands) {
    Cv::logPacket(GetParam().packet);
    EXPECT_EQ(rig.log_formats(), Texts{"%s"});
    EXPECT_EQ(rig.log(), Texts{GetParam().packet});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PacketAsText,
    testing::Values(FormatRow{"ByPosition", "%5$s", ""}, FormatRow{"ByPositionWithWidth", "%1$*2$d", ""},
                    FormatRow{"StarByPosition", "%*1$d", ""}, FormatRow{"BillionBlanks", "%999999999d", ""},
                    FormatRow{"FourDigits", "%1000d", ""}, FormatRow{"FourDigitPrecision", "%.1000d", ""},
                    FormatRow{"LonePercent", "100%", ""}, FormatRow{"PercentAfterPercent", "%%%", ""},
                    FormatRow{"UnfinishedFlag", "%-", ""}, FormatRow{"FlagBeforePercent", "%-%", ""},
                    FormatRow{"UnfinishedWidth", "%5", ""}, FormatRow{"UnfinishedPrecision", "%.", ""},
                    FormatRow{"UnfinishedLength", "%l", ""}, FormatRow{"UnfinishedAfterGood", "%d%s%", ""},
                    FormatRow{"BadAfterGood", "%d%y", ""}, FormatRow{"NoConversion", "%y", ""},
                    FormatRow{"ErrorText", "%m", ""}, FormatRow{"WideText", "%S", ""}, FormatRow{"WideCharacter", "%C", ""},
                    FormatRow{"ThousandsFlag", "%'d", ""}, FormatRow{"Locale", "%Id", ""}, FormatRow{"LengthQ", "%qd", ""},
                    FormatRow{"ThreeH", "%hhhd", ""}, FormatRow{"ThreeL", "%llld", ""},
                    FormatRow{"PercentWithWidth", "%5%", ""}, FormatRow{"LongDoubleNumber", "%Ld", ""},
                    FormatRow{"LongDoubleCount", "%Ln", ""}, FormatRow{"LongDoubleText", "%Ls", ""},
                    FormatRow{"LongDoublePointer", "%Lp", ""}, FormatRow{"ShortText", "%hs", ""},
                    FormatRow{"ShortCharacter", "%hhc", ""}, FormatRow{"LongLongText", "%lls", ""},
                    FormatRow{"LongPointer", "%lp", ""}, FormatRow{"ShortFloating", "%hf", ""},
                    FormatRow{"LongLongFloating", "%llf", ""}, FormatRow{"SizeFloating", "%zf", ""},
                    FormatRow{"SizeText", "%zs", ""}, FormatRow{"TwoPrecisions", "%.1.1d", ""},
                    FormatRow{"NegativePrecision", "%.-1d", ""}, FormatRow{"StarAndDigits", "%*5d", ""},
                    // More than a packet holds.
                    FormatRow{"EightNumbers", "%d%d%d%d%d%d%d%d", ""}, FormatRow{"SixFloating", "%f%f%f%f%f%f", ""},
                    FormatRow{"FourLong", "%Lf%Lf%Lf%Lf", ""}, FormatRow{"LongAndSixNumbers", "%Lg%d%d%d%d%d%d", ""}),
    byName);

TEST_F(PacketAsText, LogPacket_ManyMoreThanCouldBeFed_WrittenAsItStands) {
    std::string many;
    for (int text = 0; text < 500; ++text) many += "%s";
    Cv::logPacket(many.c_str());
    EXPECT_EQ(rig.log_formats(), Texts{"%s"});
    EXPECT_EQ(rig.log(), Texts{many});
}

TEST_F(PacketAsText, RxInterruptChar_LineNoiseThatLooksLikeFormats_IsSurvived) {
    rig.debug(true);
    constexpr std::string_view likely = "%%%%sndLlhfc*.$0129-";
    sim::Random random(4);
    for (int packet = 0; packet < 3000; ++packet) {
        std::string noise = packet % 2 == 0 ? "" : "~";
        while (noise.size() < 11) noise += likely[random.below(likely.size())];
        rig.forget();
        parse(noise);
        Cv::logPacket(noise.c_str());
        ASSERT_TRUE(rig.log_formats().back() == noise || rig.log().back() == noise) << noise;
        rig.run_for(1ms);
    }
}
