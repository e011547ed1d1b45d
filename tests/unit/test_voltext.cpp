#include "classic/collect/voltext.h"
#include "classic/collect/volumes.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

// The text in the buffer, up to the terminator.
template <size_t N> static std::string textOf(const char (&buffer)[N]) { return {buffer, strnlen(buffer, N)}; }

TEST(Voltext, DelspaceLeavesOutBlanksAndTabs) {
    char d[16];
    delspace("  1.00 GiB ", d);
    EXPECT_EQ(textOf(d), "1.00GiB");
    delspace(" \t \t", d);
    EXPECT_EQ(textOf(d), "");
    delspace("", d);
    EXPECT_EQ(textOf(d), "");
    delspace("a\nb\rc", d); // newlines and carriage returns are no blanks
    EXPECT_EQ(textOf(d), "a\nb\rc");
}

TEST(Voltext, DelspaceStopsOneBeforeTheCapacity) {
    char d[4];
    for (auto [s, expected] : {std::pair{"ab", "ab"}, {"abc", "abc"}, {"abcd", "abc"}, {"a b c d", "abc"}}) {
        delspace(s, d);
        EXPECT_EQ(textOf(d), expected) << s;
    }
    char one[1] = {'x'};
    delspace("abc", one);
    EXPECT_EQ(one[0], '\0');
    delspace("abc", std::span<char>()); // no room for anything: nothing is written
}

TEST(Voltext, GetlasttrimStopsAtTheFirstOther) {
    EXPECT_EQ(getlasttrim("yes \t "), "yes");
    EXPECT_EQ(getlasttrim("yes  \n"), "yes  \n"); // a newline protects them
    EXPECT_EQ(getlasttrim(" \t"), "");
    EXPECT_EQ(getlasttrim(""), "");
    EXPECT_EQ(getlasttrim(" a b"), " a b");
    Text<8> text = "ab  ";
    getlasttrim(text);
    EXPECT_EQ(text.view(), "ab");
}

TEST(Voltext, GetlastSplitsAtSlashBlankTabAndBracket) {
    static constexpr struct {
        std::string_view s, expected;
    } Cases[] = {
        {"Block device 253:4\n", "253:4\n"},
        {"Block device           253:4", "253:4"},
        {"nothing", "nothing"},
        {"x", "x"},
        {"", ""},
        {"/", "/"},
        {"/dev/sda/", "sda/"}, // the last character is not examined
        {"/dev/sda", "sda"},
        {"/x", "x"},
        {"a b", "b"},
        {"a\tb", "b"},
        {"[a]b", "b"},
        {"[ab]", "[ab]"},
        {"(a)b", "(a)b"},
        {"a ", "a "},
        {"a  ", " "}, // a line that ends in blanks gives a blank
        {" ", " "},
        {"Physical volume\t/dev/sdc", "sdc"},
        {"0 to 29:", "29:"},
    };
    for (auto& c : Cases) EXPECT_EQ(getlast(c.s), c.expected) << '"' << c.s << '"';
}

TEST(Voltext, Getlast2SplitsAtBlankAndTabOnly) {
    EXPECT_EQ(getlast2("VG Name               vg-a"), "vg-a");
    EXPECT_EQ(getlast2("LV Path                /dev/vg/lv"), "/dev/vg/lv");
    EXPECT_EQ(getlast2("PV Name [a]b"), "[a]b");
    EXPECT_EQ(getlast2("Logical volume\t/dev/vg/lv"), "/dev/vg/lv");
    EXPECT_EQ(getlast2("VG Name               "), " ");
    EXPECT_EQ(getlast2("word"), "word");
    EXPECT_EQ(getlast2("a "), "a ");
    EXPECT_EQ(getlast2("a"), "a");
    EXPECT_EQ(getlast2(""), "");
}

TEST(Voltext, GetfirstIsNoneForBlanks) {
    EXPECT_EQ(getfirst("  \ta b "), "a b ");
    EXPECT_EQ(getfirst("a"), "a");
    EXPECT_EQ(getfirst(" \n"), "\n"); // a newline is a character
    EXPECT_TRUE(isNone(getfirst("   ")));
    EXPECT_TRUE(isNone(getfirst("")));
    EXPECT_TRUE(isNone(getfirst({})));
    const std::string_view s = "  x";
    EXPECT_EQ(getfirst(s).data(), s.data() + 2); // a place in the text itself
}

TEST(Voltext, GetnextIsTheSecondWord) {
    EXPECT_EQ(getnext("abc def ghi"), "def ghi");
    EXPECT_EQ(getnext("  abc def"), "abc def"); // leading blanks count as a first word
    EXPECT_EQ(getnext("a\tbc"), "bc");
    EXPECT_EQ(getnext("[x]yz"), "yz");
    EXPECT_EQ(getnext("(x)yz"), "yz");
    EXPECT_EQ(getnext("(x))y"), ")y"); // a bracket that follows a bracket is a word, too
    EXPECT_EQ(getnext("ab  c"), "c");
    EXPECT_TRUE(isNone(getnext("abc")));
    EXPECT_TRUE(isNone(getnext("a b"))); // below 4 characters
    EXPECT_EQ(getnext("a bc"), "bc");
    EXPECT_TRUE(isNone(getnext("abcd")));
    EXPECT_TRUE(isNone(getnext("abc ")));
    EXPECT_TRUE(isNone(getnext("    ")));
    EXPECT_TRUE(isNone(getnext({})));
}

TEST(Voltext, GetbracketCountsBothKinds) {
    char des[8];
    const std::string_view s = "a [x] (y)";
    EXPECT_EQ(getbracket(s, 0, des), "[x] (y)");
    EXPECT_EQ(textOf(des), "x");
    EXPECT_EQ(getbracket(s, 1, des), "(y)");
    EXPECT_EQ(textOf(des), "y");
    EXPECT_TRUE(isNone(getbracket(s, 2, des)));
    EXPECT_EQ(textOf(des), "");
    EXPECT_EQ(getbracket("(a[b)c]", 0, des), "(a[b)c]"); // any closing bracket will do
    EXPECT_EQ(textOf(des), "a[b");
    EXPECT_EQ(getbracket("((a)", 1, des), "(a)"); // an opening bracket inside counts as one
    EXPECT_EQ(textOf(des), "a");
    EXPECT_EQ(getbracket("()", 0, des), "()");
    EXPECT_EQ(textOf(des), "");
    EXPECT_TRUE(isNone(getbracket("", 0, des)));
    EXPECT_TRUE(isNone(getbracket("a)", 0, des)));
}

TEST(Voltext, GetbracketWithoutEndOrRoom) {
    char des[8] = "zzzzzzz";
    EXPECT_EQ(getbracket("(ab", 0, des), "(ab");
    EXPECT_EQ(textOf(des), "abzzzzz"); // nothing terminates the copy
    char full[8] = "zzzzzzz";
    EXPECT_FALSE(isNone(getbracket("(abcdefg)", 0, full))); // 7 characters leave no room to see the end
    EXPECT_EQ(textOf(full), "abcdefg");
    EXPECT_FALSE(isNone(getbracket("(abcdefgh)", 0, full)));
    EXPECT_EQ(textOf(full), "abcdefg");
    char small[8] = "zzzzzzz";
    EXPECT_FALSE(isNone(getbracket("(abcdef)", 0, small)));
    EXPECT_EQ(textOf(small), "abcdef");
    char one[1] = {'x'};
    EXPECT_TRUE(isNone(getbracket("(a)", 0, one)));
    EXPECT_EQ(one[0], 'x');
    char two[2];
    EXPECT_FALSE(isNone(getbracket("(ab)", 0, two)));
    EXPECT_EQ(textOf(two), "a");
    EXPECT_TRUE(isNone(getbracket({}, 0, des)));
}

TEST(Voltext, GetstringCopiesTheFirstWord) {
    char des[16] = "";
    EXPECT_EQ(getstring("abc def", des), 2);
    EXPECT_EQ(textOf(des), "abc");
    for (auto s : {"ab c", "ab\tc", "ab]c", "ab)c"}) {
        EXPECT_EQ(getstring(s, des), 1) << s;
        EXPECT_EQ(textOf(des), "ab") << s;
    }
    EXPECT_EQ(getstring("a(b[c d", des), 4); // opening brackets belong to the word
    EXPECT_EQ(textOf(des), "a(b[c");
    EXPECT_EQ(getstring(" abc", des), -1);
    EXPECT_EQ(textOf(des), "");
}

TEST(Voltext, GetstringWithoutEndOrRoom) {
    char des[8] = "300M";
    EXPECT_EQ(getstring("5", des), 4); // the text ends first, and the rest of the buffer's old text stays
    EXPECT_EQ(textOf(des), "500M");
    EXPECT_EQ(getstring("", des), 0);
    EXPECT_EQ(textOf(des), "");
    char full[8] = "";
    EXPECT_EQ(getstring("abcdefgh i", full), 7);
    EXPECT_EQ(textOf(full), "abcdefg");
    EXPECT_EQ(getstring("abcdefg i", full), 7); // no room to see the end
    EXPECT_EQ(getstring("abcdef i", full), 5);
    EXPECT_EQ(textOf(full), "abcdef");
    char one[1] = {'x'};
    EXPECT_EQ(getstring("abc", one), 0);
    EXPECT_EQ(one[0], 'x');
    char two[2];
    EXPECT_EQ(getstring("a b", two), 1); // room for one character, none to see the end
    EXPECT_EQ(textOf(two), "a");
    EXPECT_EQ(getstring({}, des), 0);
}

TEST(Voltext, GetblockinfoNeedsBothNumbers) {
    static constexpr struct {
        std::string_view s;
        int result, major, minor;
    } Cases[] = {
        {"Block device           253:4", 1, 253, 4},
        {"Block device           253:4\n", 1, 253, 4},
        {"Block device 8:0", 1, 8, 0},
        {"Block device 8:", 0, 8, -7},  // the last character is not examined
        {"Block device :34", 0, 0, -7}, // nor is the first
        {"Block device 253", 0, 253, -7},
        {"Block device x:5", 1, 0, 5},
        {"Block device 1:2:3", 1, 1, 2},
        {"", 0, 0, -7},
        {"99999999999:1", 1, 1215752191, 1}, // the low 32 bits
    };
    for (auto& c : Cases) {
        TLVData lv;
        lv.minor = -7;
        EXPECT_EQ(getblockinfo(c.s, lv), c.result) << c.s;
        EXPECT_EQ(lv.major, c.major) << c.s;
        EXPECT_EQ(lv.minor, c.minor) << c.s;
    }
}

TEST(Voltext, GetextentByKind) {
    TSegment seg;
    EXPECT_EQ(getextent(" 0 to 255:", 'L', seg), 1);
    EXPECT_EQ(getextent("\t\t30 to 79", 'P', seg), 1);
    EXPECT_EQ(seg.lext[0], 0);
    EXPECT_EQ(seg.lext[1], 255);
    EXPECT_EQ(seg.pext[0], 30);
    EXPECT_EQ(seg.pext[1], 79);
    EXPECT_EQ(getextent("7", 'P', seg), 1); // a single number is both first and last
    EXPECT_EQ(seg.pext[0], 7);
    EXPECT_EQ(seg.pext[1], 7);
    EXPECT_EQ(getextent("3 to x", 'P', seg), 1);
    EXPECT_EQ(seg.pext[1], 0);
    EXPECT_EQ(getextent("3 to 4/9:", 'P', seg), 1); // the last word may also begin after a '/'
    EXPECT_EQ(seg.pext[1], 9);
    EXPECT_EQ(getextent("  ", 'L', seg), 0);
    EXPECT_EQ(getextent("", 'P', seg), 0);
    EXPECT_EQ(getextent("1 to 2", 'X', seg), 0);
    EXPECT_EQ(getextent("1 to 2", 'l', seg), 0);
    EXPECT_EQ(seg.lext[1], 255);
}

TEST(Voltext, CheckcommaLeavesItsArgument) {
    const Text<16> text = "a,b,,c";
    EXPECT_EQ(checkcomma(text).view(), "a&b&&c");
    EXPECT_EQ(text.view(), "a,b,,c");
    EXPECT_EQ(checkcomma(Text<4>(",,,")).view(), "&&&");
    EXPECT_EQ(checkcomma(Text<4>()).view(), "");
}

TEST(Voltext, GetnameonlyDoesNotSeeTheLastCharacter) {
    EXPECT_EQ(getnameonly("/dev/sda1"), "sda1");
    EXPECT_EQ(getnameonly("/dev/mapper/vg-lv"), "vg-lv");
    EXPECT_EQ(getnameonly("/dev/sda/"), "sda/");
    EXPECT_EQ(getnameonly("proc"), "proc");
    EXPECT_EQ(getnameonly("host:/export"), "export");
    EXPECT_EQ(getnameonly("/"), "/");
    EXPECT_EQ(getnameonly("//"), "/");
    EXPECT_EQ(getnameonly("a b"), "a b");
    EXPECT_EQ(getnameonly(""), "");
}

TEST(Voltext, TailAndLineEnds) {
    EXPECT_EQ(tail("abc", 2), "c");
    EXPECT_EQ(tail("abc", 3), "");
    EXPECT_EQ(tail("abc", 9), "");
    EXPECT_EQ(cutLineEnd("abc\r\n", 0), "abc");
    EXPECT_EQ(cutLineEnd("abc\r\n", 4), "abc\r"); // short lines keep their line end
    EXPECT_EQ(cutLineEnd("abc\r\n", 5), "abc\r\n");
    EXPECT_EQ(cutLineEnd("abc\n \n", 0), "abc\n ");
}
