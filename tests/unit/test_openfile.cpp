#include "parse/openfile.h"

#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>

TEST(OpenFile, EveryKernelsText) {
    const auto newest = parseOpenFile("pos:\t1024\nflags:\t0102001\nmnt_id:\t29\nino:\t1311\n");
    ASSERT_TRUE(newest);
    EXPECT_EQ(newest->position, 1024U);
    EXPECT_EQ(newest->flags, 0102001U);
    EXPECT_EQ(newest->mount, 29U);
    EXPECT_EQ(newest->inode, 1311U);
    const auto older = parseOpenFile("pos:\t7\nflags:\t02\nmnt_id:\t29\n"); // before 5.14
    ASSERT_TRUE(older);
    EXPECT_EQ(older->mount, 29U);
    EXPECT_FALSE(older->inode);
    const auto oldest = parseOpenFile("pos:\t7\nflags:\t02\n"); // before 3.15
    ASSERT_TRUE(oldest);
    EXPECT_FALSE(oldest->mount);
    // What a kind of file has to say besides.
    EXPECT_EQ(parseOpenFile("pos:\t0\nflags:\t02\nmnt_id:\t15\nino:\t9\neventfd-count: 1\n")->inode, 9U);
}

TEST(OpenFile, WhatIsNoneOrDamaged) {
    for (const std::string text :
         {"", "\n", "pos:", "pos:\t1", "pos:\t1\n", "pos:\t1\nflags:", "pos:\tx\nflags:\t02\n", "pos: 1\nflags:\t02\n",
          "pos:\t1\nflags:\t08\n", "pos:\t99999999999999999999\nflags:\t02\n", "flags:\t02\npos:\t1\n"})
        EXPECT_FALSE(parseOpenFile(text)) << text;
    EXPECT_EQ(parseOpenFile("pos:\t-1\nflags:\t02\n")->position, 0U);
    EXPECT_FALSE(parseOpenFile("pos:\t1\nflags:\t02\nmnt_id:\t-1\nino:\t3\n")->mount);
    EXPECT_EQ(parseOpenFile("pos:\t9223372036854775807\nflags:\t02\n")->position, INT64_MAX);
}

TEST(OpenFile, FlagsInWords) {
    EXPECT_EQ(flagWords(O_RDONLY | O_CLOEXEC), "read");
    EXPECT_EQ(flagWords(O_WRONLY | O_APPEND | O_CREAT), "write append");
    EXPECT_EQ(flagWords(O_RDWR | O_DIRECT | O_SYNC), "read write direct sync");
    EXPECT_EQ(flagWords(O_RDWR | O_DSYNC | O_NOATIME), "read write dsync noatime");
    EXPECT_EQ(flagWords(O_RDWR | O_TMPFILE), "read write tmpfile");
    EXPECT_EQ(flagWords(O_PATH | O_DIRECTORY), "path");
    EXPECT_TRUE(hasContent(O_RDWR | O_TMPFILE));
    EXPECT_FALSE(hasContent(O_RDONLY | O_DIRECTORY));
    EXPECT_FALSE(hasContent(O_PATH));
    EXPECT_FALSE(canWrite(O_PATH | O_WRONLY));
    EXPECT_TRUE(canWrite(O_WRONLY));
    EXPECT_FALSE(canWrite(O_RDONLY));
}
