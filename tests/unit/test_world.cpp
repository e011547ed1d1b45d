// The made-up machine itself.
#include "base/door.h"
#include "tests/unit/made.h"

#include <cerrno>
#include <cstring>

static std::string textAt(const std::string& path) {
    Contents text;
    return readFile(path.c_str(), text) ? std::string(text.view()) : std::string(strerror(errno));
}

TEST(World, LinksOnTheWayAreFollowed) {
    const Made made("text /sys/devices/pci/block/sda/size \"8\\n\"\n"
                    "link /sys/block/sda ../devices/pci/block/sda\n"
                    "link /dev/block/0 /sys/block/sda\n"
                    "link /loop/a b\nlink /loop/b a\n");
    EXPECT_EQ(textAt("/sys/block/sda/size"), "8\n");
    EXPECT_EQ(textAt("/dev/block/0/size"), "8\n");
    EXPECT_EQ(textAt("/sys/block/sda/none"), strerror(ENOENT));
    EXPECT_EQ(textAt("/loop/a/size"), strerror(ENOENT));
    HeldPlace sda;
    ASSERT_TRUE(sda.open("/sys/block/sda"));
    Contents text;
    EXPECT_TRUE(readFile(sda, "size", text));
    Directory listing;
    ASSERT_TRUE(listing.open("/sys/block/sda"));
    std::string names;
    for (Directory::Entry entry{}; listing.next(entry);) names.append(entry.name).append(" ");
    EXPECT_EQ(names, ". .. size ");
    char target[64];
    EXPECT_EQ(readLink(listing, "size", target, sizeof target), -1);
}
