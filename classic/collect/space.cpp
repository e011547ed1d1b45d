#include "classic/collect/space.h"

TSizes getSizes(const TSpace& space) {
    const auto block = static_cast<double>(static_cast<uint64_t>(space.bsize)); // a size is never negative
    TSizes sizes;
    sizes.totalsize = block * static_cast<double>(space.blocks);
    sizes.freesize = block * static_cast<double>(space.bfree);
    sizes.availsize = block * static_cast<double>(space.bavail);
    sizes.totalinode = static_cast<double>(space.files);
    sizes.freeinode = static_cast<double>(space.ffree);
    return sizes;
}
