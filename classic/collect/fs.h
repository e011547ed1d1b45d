// Mounted filesystems: space and inodes in use, and how fast they change.
#pragma once

#include "base/text.h"
#include "classic/collect/slots.h"
#include "classic/collect/space.h"

// One mounted filesystem.
struct TFS : TSizes {
    Text<512> dev; // device or other source
    Text<512> dir;
    Text<16> type;
    long bsize = 0; // bytes
};

// `result` has the changes of each row of the current sample.
using TFSSlots = Slots<TFS, TSizes>;

// Takes a sample of what is mounted and forms the changes; returns the number of filesystems.
int getfs(int CallingIndex, int icur, int ipre, double seconds, TFSSlots& fs);

// Joins an entry of the mount table with the figures of its filesystem; false when that has no blocks.
bool getFilesystem(const mntent& entry, const TSpace& space, TFS& fs);
