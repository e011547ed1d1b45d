#include "why/waits.h"

#include <algorithm>
#include <iterator>

namespace {
struct Start {
    std::string_view start; // of a name
    Wait::For what;
    std::string_view protocol;
};
} // namespace

static constexpr auto Disk = Wait::For::Disk, Server = Wait::For::Server;

// clang-format off
static constexpr Start Functions[] = {
    // Who serves a filesystem.
    {"nfs",                 Server, "NFS" }, {"rpc_",              Server, "NFS" }, {"__rpc_",         Server, "NFS"},
    {"cifs",                Server, "SMB" }, {"smb2_",             Server, "SMB" }, {"SMB2_",          Server, "SMB"},
    {"wait_for_response",   Server, "SMB" }, {"ceph_",             Server, "Ceph"}, {"rbd_",           Server, "Ceph"},
    {"request_wait_answer", Server, "FUSE"}, {"fuse_",             Server, "FUSE"}, {"__fuse_",        Server, "FUSE"},
    {"p9_",                 Server, "9P"  }, {"v9fs_",             Server, "9P"  }, {"afs_",           Server, "AFS"},
    // Pages and buffers that are read or written.
    {"io_schedule",         Disk,   ""    }, {"folio_wait",        Disk,   ""    }, {"__folio_lock",   Disk,   ""   },
    {"wait_on_page",        Disk,   ""    }, {"__lock_page",       Disk,   ""    }, {"wait_on_buffer", Disk,   ""   },
    {"__wait_on_buffer",    Disk,   ""    }, {"bit_wait_io",       Disk,   ""    }, {"do_swap_page",   Disk,   ""   },
    {"swap_read",           Disk,   ""    }, {"balance_dirty",     Disk,   ""    }, {"wait_for_stable", Disk,  ""   },
    // Requests of a disk, and room for them.
    {"blk_",                Disk,   ""    }, {"__blk",             Disk,   ""    }, {"blkdev_",        Disk,   ""   },
    {"bio_",                Disk,   ""    }, {"__bio_",            Disk,   ""    }, {"submit_bio",     Disk,   ""   },
    {"rq_qos_wait",         Disk,   ""    }, {"wbt_wait",          Disk,   ""    }, {"dio_",           Disk,   ""   },
    {"do_blockdev_direct",  Disk,   ""    }, {"__blockdev_direct", Disk,   ""    }, {"iomap_dio",      Disk,   ""   },
    {"__iomap_dio",         Disk,   ""    }, {"md_",               Disk,   ""    }, {"raid",           Disk,   ""   },
    {"dm_",                 Disk,   ""    },
    // The journals of filesystems.
    {"jbd2_",               Disk,   ""    }, {"start_this_handle", Disk,   ""    }, {"wait_transaction", Disk, ""   },
    {"add_transaction",     Disk,   ""    }, {"ext4_",             Disk,   ""    }, {"xfs_",           Disk,   ""   },
    {"xlog_",               Disk,   ""    }, {"btrfs_",            Disk,   ""    }, {"wait_current_trans", Disk, "" },
    {"wait_for_commit",     Disk,   ""    }, {"f2fs_",             Disk,   ""    },
};
static constexpr Start Types[] = {
    {"nfs",  Server, "NFS" }, {"cifs", Server, "SMB"}, {"smb", Server, "SMB"}, {"ceph", Server, "Ceph"},
    {"fuse", Server, "FUSE"}, {"9p",   Server, "9P" }, {"afs", Server, "AFS"},
};
// clang-format on

template <size_t N> static const Start* find(const Start (&list)[N], std::string_view name) {
    const auto found =
        std::find_if(std::begin(list), std::end(list), [&](auto& one) { return name.starts_with(one.start); });
    return found == std::end(list) ? nullptr : found;
}

Wait waitIn(std::string_view function) {
    const auto* found = find(Functions, function);
    return found ? Wait{found->what, found->protocol} : Wait{};
}

std::string_view protocolOf(std::string_view type) {
    const auto* found = find(Types, type);
    return found ? found->protocol : std::string_view();
}
