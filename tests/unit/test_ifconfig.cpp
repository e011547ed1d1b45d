// Addresses of interfaces: the command that prints them, and what is taken from its output.
#include "classic/collect/netif.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

static std::string shown(const TAddresses& a) {
    std::string text = a.ipstring.c_str();
    for (int i = 0; i < a.ipcount; i++)
        text += std::string("|") + a.ip[i].c_str() + "," + a.netmask[i].c_str() + "," + a.broadcast[i].c_str();
    return text;
}

TEST(Addresses, BothLayoutsAndOddLines) {
    static constexpr struct {
        const char* output;
        const char* shown;
    } Cases[] = {
        {"", ""},
        {"          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0\n",
         "10.0.0.5|10.0.0.5,255.255.255.0,10.0.0.255"},
        {"        inet 10.0.0.5  netmask 255.255.255.0  broadcast 10.0.0.255\n",
         "10.0.0.5|10.0.0.5,255.255.255.0,10.0.0.255"},
        {"          inet addr:127.0.0.1  Mask:255.0.0.0\n", "127.0.0.1|127.0.0.1,255.0.0.0,"},
        {"inet 10.8.0.1  netmask 255.255.255.255  destination 10.8.0.2\n", "10.8.0.1|10.8.0.1,255.255.255.255,"},
        {"inet  10.0.0.5 netmask 1\n", "10.0.0.5|10.0.0.5,1,"}, // one more blank is skipped
        {"inet   10.0.0.5 netmask 1\n", "|,1,"},                // a second one ends the address
        {"inet addr: 10.0.0.5\n", "|,,"},                       // an empty address counts as one
        {"inet \n", "|,,"},                                     //
        {"inet\n", ""},                                         //
        {"inet 1 inet addr:2\n", "2|2,,"},                      // the old key is looked for first
        {"inet 1.2.3.4 Mask:\t:  255.0.0.0 cast :\t9\n", "1.2.3.4|1.2.3.4,255.0.0.0,9"},
        {"inet 1.2.3.4 netmask", "1.2.3.4|1.2.3.4,,"},                    // the last character is lost
        {"inet 1.2.3.4", "1.2.3.|1.2.3.,,"},                              // also without a newline
        {"inet 123.123.123.123x\n", "123.123.123.123|123.123.123.123,,"}, // 16 characters
        {"inet 123.123.123.12\n", "123.123.123.12|123.123.123.12,,"},
        {"inet 1.1.1.1\tnetmask 2\n", "1.1.1.1\tnetmask|1.1.1.1\tnetmask,2,"}, // a tab is part of a value
        {"inet 1\nask 7 cast 8\ninet 2\n", "1//2|1,,|2,7,8"}, // its mask goes to the address that follows
        {"ask 7\ninet 2 cast 3\n", "2|2,7,3"},
        {"inet 1\n\n\ninet 2\n", "1///2|1,,|2,,"},
        {"x", ""},
    };
    for (auto& c : Cases) {
        TAddresses addresses;
        getAddresses(c.output, addresses);
        EXPECT_EQ(shown(addresses), c.shown) << c.output;
    }
}

TEST(Addresses, FiveAtMost) {
    std::string output;
    for (int i = 1; i <= 7; i++) {
        output += "inet 10.0.0." + std::to_string(i) + " netmask 255.0.0.0 broadcast 10.255.255.255\n";
        TAddresses addresses;
        getAddresses(output, addresses);
        EXPECT_EQ(addresses.ipcount, std::min(i, 5));
        EXPECT_EQ(addresses.ip[0].view(), "10.0.0.1");
    }
    TAddresses addresses;
    getAddresses(output, addresses);
    EXPECT_EQ(addresses.ipstring.view(), "10.0.0.1/10.0.0.2/10.0.0.3/10.0.0.4/10.0.0.5");
}

TEST(Addresses, TheJoinedTextIsCut) {
    std::string output = "inet 1\n";
    for (int i = 0; i < 200; i++) output += "nothing\n";
    output += "inet 2\n";
    TAddresses addresses;
    getAddresses(output, addresses);
    EXPECT_EQ(addresses.ipcount, 2);
    EXPECT_EQ(addresses.ipstring.view(), "1" + std::string(98, '/'));
}

TEST(Addresses, LinesOf511Bytes) {
    for (size_t blanks : {size_t(511 - 13), size_t(511 - 12), size_t(511 - 11), size_t(511 - 5)}) {
        TAddresses addresses;
        getAddresses(std::string(blanks, ' ') + "inet 1.2.3.4\n", addresses);
        // The 12 characters of the address fit with their newline. Without it they lose one. A later rest is no
        // address.
        const auto expected = blanks == 511 - 13   ? "1.2.3.4"
                              : blanks == 511 - 12 ? "1.2.3."
                              : blanks == 511 - 11 ? "1.2.3"
                                                   : "";
        EXPECT_EQ(addresses.ip[0].view(), expected) << blanks;
        EXPECT_EQ(addresses.ipcount, blanks == 511 - 5 ? 0 : 1) << blanks;
    }
}

TEST(Addresses, ANulEndsALine) {
    TAddresses addresses;
    getAddresses(std::string_view("\0inet 1\ninet 22\0 netmask 3\ninet 4\n", 34), addresses);
    EXPECT_EQ(shown(addresses), "2/4|2,,|4,,");
}

// --- The command

TEST(AddressCommand, PlainNamesStandAsTheyAre) {
    for (auto name : {"", "eth0", "lo", "br-1a2b", "eth0.100", "bond0:1", "veth_X@if3", "-a"})
        EXPECT_EQ(getAddressCommand(name), std::string("ifconfig ") + name + " |grep \"inet \"");
}

// Every byte as a name of its own.
TEST(AddressCommand, LettersDigitsAndAFewMarksArePlain) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_-@";
    for (int code = 1; code < 256; code++) {
        const std::string name(1, static_cast<char>(code));
        const bool quoted = getAddressCommand(name).starts_with("ifconfig '");
        EXPECT_EQ(quoted, plain.find(name) == plain.npos) << code;
    }
}

TEST(AddressCommand, OtherNamesAreQuoted) {
    static constexpr struct {
        const char* name;
        const char* command;
    } Cases[] = {
        {"a;id", "ifconfig 'a;id' |grep \"inet \""},   {"$(id)", "ifconfig '$(id)' |grep \"inet \""},
        {"`id`", "ifconfig '`id`' |grep \"inet \""},   {"'", "ifconfig ''\\''' |grep \"inet \""},
        {"a'b", "ifconfig 'a'\\''b' |grep \"inet \""}, {"\"", "ifconfig '\"' |grep \"inet \""},
        {"e\tth", "ifconfig 'e\tth' |grep \"inet \""}, {"\xc3\xa4", "ifconfig '\xc3\xa4' |grep \"inet \""},
        {"~", "ifconfig '~' |grep \"inet \""},
    };
    for (auto& c : Cases) EXPECT_EQ(getAddressCommand(c.name), c.command);
}

namespace {
// A folder with an ifconfig that prints its arguments, and a shell whose working directory it is.
class Shell {
    std::filesystem::path folder;
    std::string path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";

public:
    Shell() {
        std::string name = (std::filesystem::temp_directory_path() / "wyrt-shell.XXXXXX").string();
        if (mkdtemp(name.data())) folder = name;
        std::ofstream(folder / "ifconfig") << "#!/bin/sh\nprintf 'inet %s<%s>\\n' \"$#\" \"$1\"\n";
        chmod((folder / "ifconfig").c_str(), 0755);
        setenv("PATH", (folder.string() + ":" + path).c_str(), 1);
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;
    ~Shell() {
        setenv("PATH", path.c_str(), 1);
        std::filesystem::remove_all(folder);
    }
    std::string run(const std::string& command) const {
        const std::string here = "LC_ALL=C; export LC_ALL; cd '" + folder.string() + "' && " + command + " 2>&1";
        std::string output;
        FILE* pipe = popen(here.c_str(), "re");
        for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
        pclose(pipe);
        return output;
    }
    // The number of files in the folder: more than one if a name was run as a command.
    long files() const {
        return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
    }
};
} // namespace

TEST(AddressCommand, NoNameRunsACommandInARealShell) {
    std::vector<std::string> names = {
        ";touch${IFS}x",
        "|touch${IFS}x",
        "&touch${IFS}x",
        "&&touch${IFS}x;",
        "$(touch${IFS}x)",
        "`touch${IFS}x`",
        "a;touch\tx;",
        "';touch${IFS}x;'",
        "'\"';touch\tx;\"'\"",
        "\\';touch${IFS}x;#",
        "'$(touch${IFS}x)'",
        "\"$(touch${IFS}x)\"",
        ">x",
        ">>x",
        "2>x",
        "<x",
        "*",
        "if*",
        "?",
        "[a-z]*",
        "~",
        "~root",
        "$HOME",
        "${x=y}",
        "$((1+1))",
        "{a,b}",
        "!!",
        "#",
        "a#b",
        "\\",
        "a\\",
        "a\\'",
        "''",
        "'''",
        "''''",
        "\n",
        "a\ntouch\tx",
        "\ttouch\tx",
        "(touch\tx)",
        "{\ttouch\tx;}",
        "x=y",
        "|",
        "||",
        "&",
        ";",
        "'\\''",
        "'\n'",
        "\x01\x7f",
        "\xff\xfe",
        "\xc3\xa4\xe2\x82\xac",
    };
    for (int c = 1; c < 256; c++)
        if (c != ' ' && c != ':') names.push_back(std::string(1, static_cast<char>(c)));
    const Shell shell;
    ASSERT_EQ(shell.files(), 1);
    for (auto& name : names) {
        // grep prints only lines with "inet ". That is the whole output unless a newline in the name splits it.
        const auto line = "inet 1<" + name + ">\n";
        EXPECT_EQ(shell.run(getAddressCommand(name)), line.substr(0, line.find('\n') + 1)) << name;
        ASSERT_EQ(shell.files(), 1) << name;
    }
}
