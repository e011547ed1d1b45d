// The reader of classic logs: values by their forms, fields by commas, and what is damaged or hostile.
#include "record/classic/kinds.h"
#include "record/classic/reader.h"

#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using classic::Piece;
using Strings = std::vector<std::string>;

// --- Values

// How the value is spelled again; "(none)": the text does not have the form.
static std::string reread(Form form, std::string_view text) {
    const auto value = classic::readValue(form, text);
    if (!value) return "(none)";
    std::string out;
    value->append(out, form);
    return out;
}

TEST(ClassicReader, ValuesComeBack) {
    const std::vector<std::pair<Form, std::string_view>> table = {
        {Form::Int, "0"},
        {Form::Int, "-2147483648"},
        {Form::Int, "2147483647"},
        {Form::Long, "-9223372036854775808"},
        {Form::Long, "9223372036854775807"},
        {Form::Real0, "12"},
        {Form::Real0, "1000000000000000000000"},
        {Form::Real1, "0.5"},
        {Form::Real2, "-0.25"},
        {Form::Real2, "-0.00"},
        {Form::Real2, "nan"},
        {Form::Real2, "-nan"},
        {Form::Real2, "inf"},
        {Form::Real2, "-inf"},
        {Form::Real6, "0.300000"},
        {Form::Milli, "007"},
        {Form::Milli, "-07"},
        {Form::Milli, "1234"},
        {Form::Two, "07"},
        {Form::Hex7, "0102001"},
        {Form::Hex7, "7777EEEE"},
        {Form::Letter, ","},
        {Form::Letter, "S"},
        {Form::Text, ""},
        {Form::Text, "a,b$\n\x80"},
    };
    for (auto& [form, text] : table) EXPECT_EQ(reread(form, text), text);
}

TEST(ClassicReader, WhatIsNoValue) {
    const std::vector<std::pair<Form, std::string_view>> table = {
        {Form::Int, "2147483648"},
        {Form::Int, "-2147483649"},
        {Form::Int, ""},
        {Form::Int, "1.0"},
        {Form::Int, "-"},
        {Form::Int, "+1"},
        {Form::Int, "--1"},
        {Form::Int, " 1"},
        {Form::Int, "1 "},
        {Form::Int, "0x1"},
        {Form::Long, "9223372036854775808"},
        {Form::Long, "99999999999999999999999999"},
        {Form::Real0, "1.0"},
        {Form::Real0, "1."},
        {Form::Real0, "1e5"},
        {Form::Real2, "1.5"},
        {Form::Real2, "1"},
        {Form::Real2, ""},
        {Form::Real2, "-"},
        {Form::Real2, ".25"},
        {Form::Real2, "1.2.5"},
        {Form::Real2, "1.-5"},
        {Form::Real2, "nano"},
        {Form::Real2, "--nan"},
        {Form::Real2, "infinity"},
        {Form::Milli, "07"},
        {Form::Two, "7"},
        {Form::Hex7, "12345"},
        {Form::Hex7, "010200g"},
        {Form::Hex7, "010200a"},
        {Form::Hex7, "123456789"},
        {Form::Letter, ""},
        {Form::Letter, "ab"},
        {Form::Whole, "1"}, // these are not in a classic log
        {Form::Real, "1"},
        {Form::Escaped, "a"},
    };
    for (auto& [form, text] : table) EXPECT_EQ(reread(form, text), "(none)") << text;
    EXPECT_EQ(reread(Form::Real0, std::string(400, '9')), "(none)"); // no double is so large
}

// --- Records

// The texts of a record; for anything else a word that says what it is.
static Strings cut(std::string_view line) {
    classic::Record record;
    switch (classic::readPiece(line, record)) {
    case Piece::Header:
        return {"header of " + std::string(record.kind->tag)};
    case Piece::Message:
        return {"message"};
    case Piece::Damaged:
        return {"damaged"};
    case Piece::Record:
        break;
    }
    EXPECT_EQ(record.texts.size(), record.kind->fields.size());
    return {record.texts.begin(), record.texts.end()};
}

TEST(ClassicReader, FieldsAreCutAtCommas) {
    const std::vector<std::pair<std::string_view, Strings>> table = {
        {"^END_OF_INTERVAL$", {}},
        {"^lvm,mapping,complete$", {}},
        {"^info,Uptime,1,01,02,03$", {"1", "01", "02", "03"}},
        {"^info,nif,lo,127.0.0.1,255.0.0.0,$", {"lo", "127.0.0.1", "255.0.0.0", ""}},
        {"^SOCKINFO,1900,server,7001$", {"1900", "server", "7001"}},
        // All that is left belongs to the last field.
        {"^FDINFO,1,a,1,0.00,0102001,/a,b$c\nd$", {"1", "a", "1", "0.00", "0102001", "/a,b$c\nd"}},
        {"^info,Release,,,$", {",,"}},
        // A text in the middle has what the fields around it leave.
        {"^SOCKINFO,1900,ser,ver,7001$", {"1900", "ser,ver", "7001"}},
        {"^SOCKINFO,1900,1,2,3$", {"1900", "1,2", "3"}},
        {"^FDINFO,1,a,1,1,0.00,0102001,/a$", {"1", "a,1", "1", "0.00", "0102001", "/a"}},
        // Where there is a choice, the first text is the shortest.
        {"^diskmap,0,a,b,c,d,e,f$", {"0", "a", "b", "c", "d", "e,f"}},
        {"^path,0,a,b,c,d,e,f,2$", {"0", "a", "b", "c", "d", "e,f", "2"}},
    };
    for (auto& [line, texts] : table) EXPECT_EQ(cut(line), texts) << line;
}

TEST(ClassicReader, WhatIsNoRecord) {
    for (auto line : {"^SOCKINFO,1900,server$", "^SOCKINFO,1900,server,x$", "^SOCKINFO,1900,server,7001", "^SOCKINFO,$",
                      "^SOCKINFO$", "^END_OF_INTERVAL,1$", "^END_OF_INTERVALS$", "^END_OF_INTERVAL", "^info,Nothing,1$",
                      "^", "^$", "^,$", "^TIM", "^FSDELTA,$", "^basic,usr$", "^disk$", "^time,seconds$"})
        EXPECT_EQ(cut(line), Strings{"damaged"}) << line;
    for (auto line : {"", "$", "Complete", " ^END_OF_INTERVAL$", "END_OF_INTERVAL$"})
        EXPECT_EQ(cut(line), Strings{"message"}) << line;
}

TEST(ClassicReader, HeadersNameTheFields) {
    EXPECT_EQ(cut("^n0stat,field,name,currentvalue$"), Strings{"header of N0STAT"});
    EXPECT_EQ(cut("^tcp,established,listen,syn_sent,syn_recv,fin_wait1,fin_wait2,fin_wait,close,close_wait,last_ack,"
                  "closing,na$"),
              Strings{"header of TCP"});
    for (auto line : {"^n0stat,field,name$", "^n0stat,field,name,currentvalue", "^n0stat,field,name,currentvalue,x$",
                      "^n0stat,field,name,other$", "^n0stat$"})
        EXPECT_EQ(cut(line), Strings{"damaged"}) << line;
}

// --- Logs

static Strings pieces(std::string_view log) {
    Strings all;
    for (std::string_view piece; classic::nextPiece(log, piece);) all.emplace_back(piece);
    return all;
}

TEST(ClassicReader, ALogIsCutIntoPieces) {
    EXPECT_EQ(pieces(""), Strings{});
    EXPECT_EQ(pieces("\n"), Strings{""});
    EXPECT_EQ(pieces("a message\n^END_OF_INTERVAL$\n"), (Strings{"a message", "^END_OF_INTERVAL$"}));
    EXPECT_EQ(pieces("^END_OF_INTERVAL$"), Strings{"^END_OF_INTERVAL$"});
    // A name with newlines.
    EXPECT_EQ(pieces("^FDINFO,1,a,1,0.00,0102001,/a\n\nb$\nComplete\n"),
              (Strings{"^FDINFO,1,a,1,0.00,0102001,/a\n\nb$", "Complete"}));
    // A record that was cut does not take the next ones along.
    EXPECT_EQ(pieces("^TIME,145\n^END_OF_INTERVAL$\n"), (Strings{"^TIME,145", "^END_OF_INTERVAL$"}));
    EXPECT_EQ(pieces("^TIME,145"), Strings{"^TIME,145"});
    EXPECT_EQ(pieces("^TIM\n^END_OF_INTERVAL$\n"), (Strings{"^TIM", "^END_OF_INTERVAL$"}));
}

// A line of many commas that fits nowhere takes no more time than its length allows: each comma is looked at once for
// each field.
TEST(ClassicReader, ManyCommas) {
    std::string commas(20000, ',');
    EXPECT_EQ(cut("^path,0" + commas + "x$"), Strings{"damaged"});
    EXPECT_EQ(cut("^DISK" + commas + "x$"), Strings{"damaged"});
    const auto texts = cut("^path,0" + commas + "1$");
    ASSERT_EQ(texts.size(), 7U);
    EXPECT_EQ(texts[5].size(), commas.size() - 6);
}

// What a record says is read as it was written, whatever bytes its texts have, as long as only the last has commas.
TEST(ClassicReader, AnyRecordComesBack) {
    constexpr unsigned Seed = 7;
    std::mt19937_64 random(Seed);
    const auto text = [&](bool last) {
        std::string bytes(random() % 12, ' ');
        for (auto& c : bytes) {
            c = static_cast<char>(static_cast<uint8_t>(random()));
            if (!last && c == ',') c = ';';
        }
        return bytes;
    };
    for (int round = 0; round < 20000; round++) {
        const Kind& kind = *classic::Kinds[random() % std::size(classic::Kinds)];
        std::string line = "^";
        line.append(kind.tag);
        Strings expected;
        for (auto& field : kind.fields) {
            const bool last = &field == &kind.fields.back();
            const auto bits = random() >> random() % 64;
            if (field.form == Form::Text) expected.push_back(text(last));
            else if (field.form == Form::Letter) expected.emplace_back("T");
            else {
                expected.emplace_back();
                const Value real = static_cast<double>(static_cast<int64_t>(bits)) / 8, whole = bits;
                (isRealForm(field.form) ? real : whole).append(expected.back(), field.form);
            }
            line.append(",").append(expected.back());
        }
        line.append("$");
        ASSERT_EQ(cut(line), expected) << "seed " << Seed << ", round " << round << ": " << line;
    }
}

// Any part of a log is read without harm, and every byte of it is in a piece.
TEST(ClassicReader, AnyBytesAreRead) {
    constexpr unsigned Seed = 8;
    std::mt19937 random(Seed);
    constexpr std::string_view Parts[] = {"^",        "$",  "\n",   ",",      "0",    "1.00",  "a",    "TIME",
                                          "SOCKINFO", "lv", "path", "FDINFO", "disk", "nstat", "-nan", "0102001"};
    for (int round = 0; round < 20000; round++) {
        std::string log;
        for (auto count = random() % 40; count > 0; count--) log.append(Parts[random() % std::size(Parts)]);
        std::string again;
        for (auto& piece : pieces(log)) {
            cut(piece);
            again.append(piece).append("\n");
        }
        if (!log.ends_with('\n') && !log.empty()) log.append("\n");
        ASSERT_EQ(again, log) << "seed " << Seed << ", round " << round;
    }
}
