#include "wyrt/check.h"

#include "tests/unit/made.h"

static std::string checked(const char* areas, const char* root = "") {
    Settings settings;
    settings.view.areas = areas;
    settings.root = root;
    return checkText(settings);
}

TEST(Check, SaysWhatIsThereAndWhatIsMissing) {
    Made machine("text /proc/stat \"\"\ntext /proc/loadavg \"\"\n");
    EXPECT_EQ(checked("cpu"), "area       here  sources\n"
                              "cpu        yes   /proc/stat, /proc/loadavg\n");
    Made other("text /proc/stat \"\"\n");
    EXPECT_EQ(checked("cpu"),
              "area       here  sources\n"
              "cpu        part  /proc/stat, /proc/loadavg; no /proc/loadavg: No such file or directory\n");
    Made locked("text /proc/stat \"\"\nfail open /proc/stat EACCES\n");
    EXPECT_EQ(checked("cpu"), "area       here  sources\n"
                              "cpu        no    /proc/stat, /proc/loadavg; no /proc/stat: Permission denied; no "
                              "/proc/loadavg: No such file or directory; run it as root\n");
}

TEST(Check, ProcessesThatAreHidden) {
    Made machine("dir /proc\n");
    const auto text = checked("proc");
    EXPECT_NE(text.find("no /proc/1/io: No such file or directory; needs root where /proc is mounted with hidepid"),
              text.npos)
        << text;
}

TEST(Check, AFileThatOpensAndCannotBeRead) {
    Made machine("dir /proc\ntext /proc/1/io \"\"\n");
    EXPECT_EQ(checked("proc").find("no /proc/1/io"), std::string::npos);
    Made locked("dir /proc\ntext /proc/1/io \"\"\nfail read /proc/1/io EACCES\n");
    const auto text = checked("proc");
    EXPECT_NE(text.find("part  /proc, /proc/1/io, CPU clocks; no /proc/1/io: Permission denied; run it as root "
                        "(CAP_SYS_PTRACE)\n"),
              text.npos)
        << text;
}

TEST(Check, ToAFile) {
    Made machine("text /proc/stat \"\"\ntext /proc/loadavg \"\"\nfail open /locked/out EACCES\n");
    Settings settings;
    settings.view.areas = "cpu";
    settings.output = "/out";
    EXPECT_EQ(printed([&] { EXPECT_EQ(runCheck(settings), 0); }), "");
    EXPECT_EQ(machine.world.find("/out")->text, checkText(settings));
    settings.output = "/locked/out";
    EXPECT_EQ(printed([&] { EXPECT_EQ(runCheck(settings), 1); }, STDERR_FILENO),
              "wyrt: '/locked/out' cannot be written: Permission denied\n");
}

TEST(Check, FilesOfAnotherMachine) {
    Made machine("text /mnt/proc/stat \"\"\ntext /mnt/proc/loadavg \"\"\n");
    const auto text = checked("cpu", "/mnt");
    EXPECT_NE(text.find("cpu        yes"), text.npos) << text;
    EXPECT_NE(text.find("Below /mnt there are only files"), text.npos);
}

TEST(Check, WhetherEndsAreReported) {
    const auto line = [](const std::string& world) {
        Made machine("text /proc/stat \"\"\n" + world);
        const auto text = checked("churn");
        return text.substr(text.find('\n') + 1);
    };
    EXPECT_EQ(line("taskstats\n"), "churn      yes   /proc/stat, taskstats\n");
    EXPECT_EQ(line("taskstats EPERM\n"),
              "churn      part  /proc/stat, taskstats; no reports of what ends: Operation not "
              "permitted; run it as root (CAP_NET_ADMIN)\n");
    EXPECT_NE(line("").find("needs Linux 5.19"), std::string::npos);
    EXPECT_NE(line("taskstats silent\n").find("namespace"), std::string::npos);
}
