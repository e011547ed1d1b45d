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

// An entry of the mount table with what its filesystem answered; false when it has no space of its own.
bool getFilesystem(const mntent& entry, const TSpace& space, TFS& fs);
