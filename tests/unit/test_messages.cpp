#include "classic/collect/messages.h"

#include "tests/unit/made.h"

#include <cerrno>

#include <gtest/gtest.h>

TEST(Messages, MessagesHaveAFixedRoom) {
    EXPECT_EQ(printed([] { sayMessage("%s %d", "failed", 3); }), "failed 3\n");
    for (size_t size : {1022U, 1023U, 1024U, 5000U}) {
        const std::string text(size, 'x');
        EXPECT_EQ(printed([&] { sayMessage("%s", text.c_str()); }), text.substr(0, 1023) + "\n");
    }
    EXPECT_EQ(printed([] { sayOpenFailed("/proc/7/io", EACCES); }),
              "[ERROR] Failed to open /proc/7/io [ENO(13):Permission denied]\n");
}

TEST(Messages, ErrorsGoToTheOtherStream) {
    EXPECT_EQ(printed([] { sayError("Failed to open /proc/stat", ENOENT); }, STDERR_FILENO),
              "Failed to open /proc/stat: No such file or directory\n");
    EXPECT_EQ(printed([] { sayError("Failed to open /proc/stat", ENOENT); }), "");
}

TEST(Messages, NoMemory) {
    const auto say = [](std::string_view what, const char* label) {
        return printed([&] {
            errno = ENOMEM;
            if (label) sayNoMemory(what, label);
            else sayNoMemory(what);
        });
    };
    EXPECT_EQ(say("disk", nullptr), "Failed to get memory for disk [ENO(12):Cannot allocate memory]\n");
    EXPECT_EQ(say("retsnmp index 1", "ERR"),
              "Failed to get memory for retsnmp index 1 [ERR(12):Cannot allocate memory]\n");
}
