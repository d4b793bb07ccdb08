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

INSTANTIATE_TEST_SUITE_P(
    Conversions, PacketAsFormat,
    testing::Values(
        FormatRow{.name = "None", .packet = "A", .text = "A"}, FormatRow{.name = "Percent", .packet = "a%%b", .text = "a%b"},
        FormatRow{.name = "d", .packet = "%d", .text = "0"}, FormatRow{.name = "i", .packet = "%i", .text = "0"},
        FormatRow{.name = "o", .packet = "%o", .text = "0"}, FormatRow{.name = "u", .packet = "%u", .text = "0"},
        FormatRow{.name = "x", .packet = "%x", .text = "0"}, FormatRow{.name = "X", .packet = "%X", .text = "0"},
        FormatRow{.name = "c", .packet = "%c", .text = nul}, FormatRow{.name = "s", .packet = "<%s>", .text = "<>"},
        FormatRow{.name = "n", .packet = "<%n>", .text = "<>"}, FormatRow{.name = "p", .packet = "%p", .text = "(nil)"},
        FormatRow{.name = "f", .packet = "%f", .text = "0.000000"},
        FormatRow{.name = "F", .packet = "%F", .text = "0.000000"},
        FormatRow{.name = "e", .packet = "%e", .text = "0.000000e+00"},
        FormatRow{.name = "E", .packet = "%E", .text = "0.000000E+00"}, FormatRow{.name = "g", .packet = "%g", .text = "0"},
        FormatRow{.name = "G", .packet = "%G", .text = "0"}, FormatRow{.name = "a", .packet = "%a", .text = "0x0p+0"},
        FormatRow{.name = "A", .packet = "%A", .text = "0X0P+0"}),
    byName);

INSTANTIATE_TEST_SUITE_P(
    Lengths, PacketAsFormat,
    testing::Values(
        FormatRow{.name = "hhd", .packet = "%hhd", .text = "0"}, FormatRow{.name = "hd", .packet = "%hd", .text = "0"},
        FormatRow{.name = "ld", .packet = "%ld", .text = "0"}, FormatRow{.name = "lld", .packet = "%lld", .text = "0"},
        FormatRow{.name = "jd", .packet = "%jd", .text = "0"}, FormatRow{.name = "zu", .packet = "%zu", .text = "0"},
        FormatRow{.name = "tx", .packet = "%tx", .text = "0"}, FormatRow{.name = "ls", .packet = "<%ls>", .text = "<>"},
        FormatRow{.name = "lc", .packet = "%lc", .text = nul}, FormatRow{.name = "lf", .packet = "%lf", .text = "0.000000"},
        FormatRow{.name = "Lf", .packet = "%Lf", .text = "0.000000"},
        FormatRow{.name = "La", .packet = "%La", .text = "0x0p+0"}, FormatRow{.name = "hhn", .packet = "%hhn", .text = ""},
        FormatRow{.name = "hn", .packet = "%hn", .text = ""}, FormatRow{.name = "ln", .packet = "%ln", .text = ""},
        FormatRow{.name = "lln", .packet = "%lln", .text = ""}, FormatRow{.name = "jn", .packet = "%jn", .text = ""},
        FormatRow{.name = "zn", .packet = "%zn", .text = ""}, FormatRow{.name = "tn", .packet = "%tn", .text = ""}),
    byName);

INSTANTIATE_TEST_SUITE_P(
    Fields, PacketAsFormat,
    testing::Values(FormatRow{.name = "Width", .packet = "%5d", .text = "    0"},
                    FormatRow{.name = "WidthWithZero", .packet = "%10d", .text = std::string(9, ' ') + "0"},
                    FormatRow{.name = "Left", .packet = "%-5d|", .text = "0    |"},
                    FormatRow{.name = "Plus", .packet = "%+d", .text = "+0"},
                    FormatRow{.name = "Zeros", .packet = "%05d", .text = "00000"},
                    FormatRow{.name = "Alternate", .packet = "%#o", .text = "0"},
                    FormatRow{.name = "Blank", .packet = "% d", .text = " 0"},
                    FormatRow{.name = "ManyFlags", .packet = "%-+ #0+d", .text = "+0"},
                    FormatRow{.name = "ZerosAreNoWidth", .packet = "%00000001d", .text = "0"},
                    FormatRow{.name = "Precision", .packet = "%.3d", .text = "000"},
                    FormatRow{.name = "WidthAndPrecision", .packet = "%5.3d", .text = "  000"},
                    FormatRow{.name = "EmptyPrecision", .packet = "%.f", .text = "0"},
                    FormatRow{.name = "StarWidth", .packet = "%*d", .text = "0"},
                    FormatRow{.name = "StarPrecision", .packet = "%.*f", .text = "0"},
                    FormatRow{.name = "BothStars", .packet = "<%*.*d>", .text = "<>"},
                    FormatRow{.name = "ThreeDigits", .packet = "%999d", .text = std::string(998, ' ') + "0"},
                    FormatRow{.name = "ThreeDigitPrecision", .packet = "%.999d", .text = std::string(999, '0')}),
    byName);

INSTANTIATE_TEST_SUITE_P(
    Several, PacketAsFormat,
    testing::Values(
        FormatRow{.name = "StringsAndCount", .packet = "%s%s%n", .text = ""},
        FormatRow{.name = "FiveNumbers", .packet = "%d%d%d%d%d", .text = "00000"},
        FormatRow{.name = "FiveStrings", .packet = "%s%s%s%s%sx", .text = "x"},
        FormatRow{.name = "FiveCounts", .packet = "%n%n%n%n%nx", .text = "x"},
        FormatRow{.name = "LongCounts", .packet = "%ln%lln%n", .text = ""},
        FormatRow{.name = "StarsAndStrings", .packet = "%*s%*s%*s", .text = ""},
        FormatRow{.name = "StarsAndCounts", .packet = "%*d%n%*d%n", .text = "00"},
        FormatRow{.name = "SixWithStars", .packet = "%*.*d%*.*d", .text = ""},
        FormatRow{.name = "FiveFloating", .packet = "%f%f%f%f%fx", .text = "0.0000000.0000000.0000000.0000000.000000x"},
        FormatRow{.name = "ThreeLong", .packet = "%Lg%Lg%Lg", .text = "000"},
        FormatRow{.name = "LongAndFloating", .packet = "%Lg%g%g%g", .text = "0000"},
        FormatRow{.name = "LongAndFourNumbers", .packet = "%Lg%d%d%d%d", .text = "00000"},
        FormatRow{.name = "LongAndStrings", .packet = "%s%Lg%s%n", .text = "0"},
        FormatRow{.name = "LongAndFiveWithStars", .packet = "%*.*Lg%*.*d", .text = "0"},
        FormatRow{.name = "LongAndFloatingWithStars", .packet = "%*.*Lg%*.*g", .text = "00"},
        FormatRow{.name = "LongAndFiveFloating", .packet = "%g%g%g%g%g%Lg", .text = "000000"},
        FormatRow{.name = "SevenWithStars", .packet = "%*d%*d%*d%d", .text = "0000"},
        FormatRow{.name = "TextSecond", .packet = "%d%s", .text = "0"},
        FormatRow{.name = "TextThird", .packet = "%d%d%s", .text = "00"},
        FormatRow{.name = "TextFourth", .packet = "%d%d%d%s", .text = "000"},
        FormatRow{.name = "TextFifth", .packet = "%d%d%d%d%s", .text = "0000"},
        FormatRow{.name = "TextSixth", .packet = "%*d%*d%d%s", .text = "000"},
        FormatRow{.name = "TextSeventh", .packet = "%*d%*d%*d%s", .text = "000"},
        FormatRow{.name = "TextFourthBesideLong", .packet = "%d%d%d%s%Lg", .text = "0000"},
        FormatRow{.name = "TextFifthBesideLong", .packet = "%*d%*d%s%Lg", .text = "000"},
        FormatRow{.name = "FloatingAndStrings", .packet = "%s%f%s%g%n", .text = "0.0000000"},
        FormatRow{.name = "Mixture", .packet = "%d%g%s%Lg%n", .text = "000"}),
    byName);

TEST_P(PacketAsText, LogPacket_NothingCouldFeedIt_WrittenAsItStands) {
    Cv::logPacket(GetParam().packet);
    EXPECT_EQ(rig.log_formats(), Texts{"%s"});
    EXPECT_EQ(rig.log(), Texts{GetParam().packet});
}

INSTANTIATE_TEST_SUITE_P(Rows, PacketAsText,
                         testing::Values(FormatRow{.name = "ByPosition", .packet = "%5$s", .text = ""},
                                         FormatRow{.name = "ByPositionWithWidth", .packet = "%1$*2$d", .text = ""},
                                         FormatRow{.name = "StarByPosition", .packet = "%*1$d", .text = ""},
                                         FormatRow{.name = "BillionBlanks", .packet = "%999999999d", .text = ""},
                                         FormatRow{.name = "FourDigits", .packet = "%1000d", .text = ""},
                                         FormatRow{.name = "FourDigitPrecision", .packet = "%.1000d", .text = ""},
                                         FormatRow{.name = "LonePercent", .packet = "100%", .text = ""},
                                         FormatRow{.name = "PercentAfterPercent", .packet = "%%%", .text = ""},
                                         FormatRow{.name = "UnfinishedFlag", .packet = "%-", .text = ""},
                                         FormatRow{.name = "FlagBeforePercent", .packet = "%-%", .text = ""},
                                         FormatRow{.name = "UnfinishedWidth", .packet = "%5", .text = ""},
                                         FormatRow{.name = "UnfinishedPrecision", .packet = "%.", .text = ""},
                                         FormatRow{.name = "UnfinishedLength", .packet = "%l", .text = ""},
                                         FormatRow{.name = "UnfinishedAfterGood", .packet = "%d%s%", .text = ""},
                                         FormatRow{.name = "BadAfterGood", .packet = "%d%y", .text = ""},
                                         FormatRow{.name = "NoConversion", .packet = "%y", .text = ""},
                                         FormatRow{.name = "ErrorText", .packet = "%m", .text = ""},
                                         FormatRow{.name = "WideText", .packet = "%S", .text = ""},
                                         FormatRow{.name = "WideCharacter", .packet = "%C", .text = ""},
                                         FormatRow{.name = "ThousandsFlag", .packet = "%'d", .text = ""},
                                         FormatRow{.name = "Locale", .packet = "%Id", .text = ""},
                                         FormatRow{.name = "LengthQ", .packet = "%qd", .text = ""},
                                         FormatRow{.name = "ThreeH", .packet = "%hhhd", .text = ""},
                                         FormatRow{.name = "ThreeL", .packet = "%llld", .text = ""},
                                         FormatRow{.name = "PercentWithWidth", .packet = "%5%", .text = ""},
                                         FormatRow{.name = "LongDoubleNumber", .packet = "%Ld", .text = ""},
                                         FormatRow{.name = "LongDoubleCount", .packet = "%Ln", .text = ""},
                                         FormatRow{.name = "LongDoubleText", .packet = "%Ls", .text = ""},
                                         FormatRow{.name = "LongDoublePointer", .packet = "%Lp", .text = ""},
                                         FormatRow{.name = "ShortText", .packet = "%hs", .text = ""},
                                         FormatRow{.name = "ShortCharacter", .packet = "%hhc", .text = ""},
                                         FormatRow{.name = "LongLongText", .packet = "%lls", .text = ""},
                                         FormatRow{.name = "LongPointer", .packet = "%lp", .text = ""},
                                         FormatRow{.name = "ShortFloating", .packet = "%hf", .text = ""},
                                         FormatRow{.name = "LongLongFloating", .packet = "%llf", .text = ""},
                                         FormatRow{.name = "SizeFloating", .packet = "%zf", .text = ""},
                                         FormatRow{.name = "SizeText", .packet = "%zs", .text = ""},
                                         FormatRow{.name = "TwoPrecisions", .packet = "%.1.1d", .text = ""},
                                         FormatRow{.name = "NegativePrecision", .packet = "%.-1d", .text = ""},
                                         FormatRow{.name = "StarAndDigits", .packet = "%*5d", .text = ""},
                                         // More than a packet holds.
                                         FormatRow{.name = "EightNumbers", .packet = "%d%d%d%d%d%d%d%d", .text = ""},
                                         FormatRow{.name = "SixFloating", .packet = "%f%f%f%f%f%f", .text = ""},
                                         FormatRow{.name = "FourLong", .packet = "%Lf%Lf%Lf%Lf", .text = ""},
                                         FormatRow{.name = "LongAndSixNumbers", .packet = "%Lg%d%d%d%d%d%d", .text = ""}),
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
