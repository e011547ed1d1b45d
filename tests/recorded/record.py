#!/usr/bin/env python3
"""Records a machine's block devices and kernel files as pieces of worlds. Run it as root on any Linux machine.

    record.py OUT [COMMAND...]

Moment 0 is recorded at once; then each COMMAND runs in a shell and the next moment is recorded. OUT gets
    volumes kernel          the files of moment 0 in the lines of a world (tests/worlds/README.md)
    volumes.N kernel.N      what changed until moment N
    uevents.N               the kernel's block uevents from moment N-1 to N, one a line, NUL as \\0
    tools/ tools.N/         what lsblk, multipathd and the volume tools said at that moment, as far as it changed
    about                   kernel, commands, versions
It only reads what it records; what the COMMANDs do is up to you. RECORD_KERNEL=0 leaves out the kernel's files.
RECORD_GROUPS="a.slice b.slice" records only these control groups, with those below them, of every hierarchy.
"""
import os, shutil, socket, struct, subprocess, sys, time

DISK = "dev size ro removable hidden diskseq start partition wwid alignment_offset queue/rotational " \
       "queue/logical_block_size queue/zoned dm/name dm/uuid dm/suspended md/level md/array_state md/degraded " \
       "md/raid_disks md/sync_action md/sync_completed md/metadata_version md/uuid loop/backing_file loop/offset " \
       "loop/sizelimit loop/autoclear bcache/state bcache/cache_mode bcache/backing_dev_name bcache/label " \
       "ana_state ana_grpid nsid device/state device/model device/vendor device/type device/wwid " \
       "device/rev".split()
PROC = "stat meminfo vmstat loadavg uptime schedstat diskstats partitions pressure/cpu pressure/memory pressure/io " \
       "pressure/irq softirqs net/dev net/snmp net/snmp6 net/netstat net/softnet_stat net/sockstat net/sockstat6 " \
       "sys/fs/file-nr sys/fs/inode-nr sys/fs/file-max sys/kernel/pid_max sys/kernel/threads-max " \
       "sys/fs/aio-nr sys/fs/aio-max-nr key-users net/stat/arp_cache net/stat/ndisc_cache net/stat/nf_conntrack " \
       "sys/net/netfilter/nf_conntrack_count sys/net/netfilter/nf_conntrack_max sys/net/ipv4/udp_mem " \
       "sys/net/ipv4/tcp_max_orphans sys/net/ipv4/tcp_max_tw_buckets sys/net/ipv6/neigh/default/gc_thresh3 " \
       "sys/kernel/random/boot_id sys/kernel/osrelease sys/net/ipv4/tcp_mem sys/net/ipv4/ip_local_port_range " \
       "sys/net/ipv4/neigh/default/gc_thresh3 sys/net/core/netdev_max_backlog sys/net/core/somaxconn zoneinfo " \
       "sys/vm/dirty_ratio sys/vm/dirty_background_ratio sys/vm/dirty_bytes".split()
GROUP = "cgroup.controllers cgroup.events cgroup.stat cgroup.subtree_control cgroup.type cgroup.procs cpu.max " \
        "cpu.pressure cpu.stat cpu.weight io.max io.pressure io.stat irq.pressure memory.current memory.events " \
        "memory.high memory.low memory.max memory.min memory.peak memory.pressure memory.stat memory.swap.current " \
        "memory.swap.max memory.swap.events pids.current pids.max pids.peak pids.events " \
        "cpu.cfs_quota_us cpu.cfs_period_us cpuacct.usage cpuacct.usage_user cpuacct.usage_sys memory.failcnt " \
        "memory.usage_in_bytes memory.limit_in_bytes memory.oom_control".split()  # the last: version 1
HIERARCHIES = ["/sys/fs/cgroup"] + ["/sys/fs/cgroup/" + name for name in ("cpu", "cpuacct", "memory", "pids")]
TOOLS = {
    "lsblk.json": "lsblk -J -b -o NAME,KNAME,PKNAME,MAJ:MIN,SIZE,TYPE,FSTYPE,LABEL,UUID,MOUNTPOINTS,STATE,ROTA,RO",
    "lsblk.txt": "lsblk -o NAME,MAJ:MIN,SIZE,TYPE,MOUNTPOINTS",
    "multipathd-maps.json": "multipathd show maps json",
    "multipathd-paths.txt": "multipathd show paths format '%w %i %d %D %t %o %T %s'",
    "vgs.json": "vgs --reportformat json --units b",
    "lvs.json": "lvs -a --reportformat json --units b -o +devices,segtype",
    "pvs.json": "pvs --reportformat json --units b",
    "dmsetup.txt": "dmsetup table",
    "mdadm.txt": "for m in /dev/md[0-9]*; do [ -b $m ] && mdadm --detail $m; done",
    "btrfs.txt": "btrfs filesystem show",
    "nvme.json": "nvme list-subsys -o json",
    "findmnt.json": "findmnt -J -o ID,SOURCE,TARGET,FSTYPE,MAJ:MIN,OPTIONS",
}


class Tree(dict):
    """path -> ("file", bytes) or ("link", text) or ("dir",); a directive -> ("netlink", messages)"""

    def file(self, path, name=None):
        try:
            with open(path, "rb") as f:
                self[name or path] = ("file", f.read())
        except OSError:
            pass

    def link(self, path):
        try:
            self[path] = ("link", os.readlink(path))
        except OSError:
            pass

    def links(self, folder):
        if os.path.isdir(folder):
            self[folder] = ("dir",)
            for name in sorted(os.listdir(folder)):
                self.link(folder + "/" + name)


def names(folder):
    try:
        return sorted(os.listdir(folder))
    except OSError:
        return []


def device(tree, folder):
    tree[folder] = ("dir",)
    for name in DISK:
        if name.startswith("device/") and os.path.isdir(folder + "/device"):
            tree.file(os.path.realpath(folder + "/device") + name[6:])
        else:
            tree.file(folder + "/" + name)
    tree.link(folder + "/device")
    for name in ("holders", "slaves", "multipath"):
        tree.links(folder + "/" + name)
    if os.path.islink(folder + "/bcache"):
        tree.link(folder + "/bcache")
    for name in names(folder + "/md"):
        if name.startswith("dev-"):
            for attribute in ("state", "slot", "errors"):
                tree.file(f"{folder}/md/{name}/{attribute}")
            tree.link(f"{folder}/md/{name}/block")
    for name in names(folder):
        if os.path.exists(f"{folder}/{name}/partition"):
            device(tree, f"{folder}/{name}")


def volumes():
    tree = Tree()
    for name in names("/sys/block"):
        real = os.path.realpath("/sys/block/" + name)
        if name.startswith(("ram", "fd", "sr")) or (name.startswith("loop") and not os.path.exists(real + "/loop")):
            continue
        tree.link("/sys/block/" + name)
        device(tree, real)
    for name in names("/sys/class/block"):
        tree.link("/sys/class/block/" + name)
    for uuid in names("/sys/fs/btrfs"):
        base = "/sys/fs/btrfs/" + uuid
        tree.file(base + "/label")
        tree.file(base + "/metadata_uuid")
        tree.links(base + "/devices")
        for number in names(base + "/devinfo"):
            for attribute in ("missing", "in_fs_metadata", "writeable"):
                tree.file(f"{base}/devinfo/{number}/{attribute}")
    for kind in ("nvme-subsystem", "nvme"):
        for name in names("/sys/class/" + kind):
            tree.link(f"/sys/class/{kind}/{name}")
            real = os.path.realpath(f"/sys/class/{kind}/{name}")
            for attribute in "subsysnqn iopolicy model serial state transport address cntlid".split():
                tree.file(f"{real}/{attribute}")
    for name in names("/run/udev/data"):
        if name.startswith("b") and os.path.exists("/sys/dev/block/" + name[1:]):
            tree.file("/run/udev/data/" + name)
    for name in ("self/mountinfo", "swaps", "mdstat", "partitions", "diskstats"):
        tree.file("/proc/" + name)
    return tree


def padded(size):
    return (size + 3) & ~3


# A message about an interface without its counters, which RTM_GETSTATS has, too; without what only its drivers know.
def plain(message):
    STATS, STATS64, AF_SPEC, PROP_LIST = 7, 23, 26, 52
    out, at = message[16:32], 32
    while at + 4 <= len(message):
        size, kind = struct.unpack_from("=HH", message, at)
        if kind & 0x3FFF not in (STATS, STATS64, AF_SPEC, PROP_LIST):
            out += message[at:at + padded(size)]
        at += padded(size)
    return struct.pack("=I", 16 + len(out)) + message[4:16] + out


# What rtnetlink answers, as the bytes of the messages.
def netlink():
    LINK, ADDR, STATS, DUMP, DONE, ERROR = 18, 22, 94, 0x301, 3, 2
    answers = {}
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 0) as route:
        for key, kind, body in ("links", LINK, bytes(16)), ("addresses", ADDR, bytes(8)), \
                ("stats", STATS, bytes(8) + struct.pack("=I", 1)):
            route.send(struct.pack("=IHHII", 16 + len(body), kind, DUMP, 1, 0) + body)
            answers[key], kind = [], None
            while kind not in (DONE, ERROR):
                data = route.recv(1 << 18)
                while len(data) >= 16:
                    size, kind = struct.unpack_from("=IH", data)
                    if kind not in (DONE, ERROR):
                        message = data[:size].ljust(padded(size), b"\0")
                        message = message[:12] + bytes(4) + message[16:]  # whose socket asked says nothing
                        answers[key].append(plain(message) if key == "links" else message)
                    data = data[padded(size):]
    return answers


def kernel():
    tree = Tree()
    for name in PROC:
        tree.file("/proc/" + name)
    for node in names("/sys/devices/system/node"):
        for name in ("meminfo", "numastat", "vmstat"):
            tree.file(f"/sys/devices/system/node/{node}/{name}")
    tree.file("/sys/devices/system/cpu/online")
    wanted = os.environ.get("RECORD_GROUPS", "").split()
    hierarchies = HIERARCHIES[:1] if os.path.exists("/sys/fs/cgroup/cgroup.controllers") else HIERARCHIES[1:]
    for hierarchy in hierarchies:
        count = 0
        for folder, below, _ in os.walk(hierarchy):
            below[:] = sorted(name for name in below if folder != hierarchy or not wanted or name in wanted)
            count += 1
            if count > 12:
                break
            tree[folder] = ("dir",)
            for name in GROUP:
                tree.file(f"{folder}/{name}")
    for key, messages in netlink().items():
        tree["netlink route " + key] = ("netlink", messages)
    return tree


def escaped(data, blank=False):
    text = ""
    for byte in data:
        char = chr(byte)
        known = {"\n": "\\n", "\t": "\\t", "\r": "\\r", '"': '\\"', "\\": "\\\\"}.get(char)
        if known:
            text += known
        elif blank and char == " ":
            text += "\\s"
        elif 32 <= byte < 127:
            text += char
        else:
            text += "\\x%02X" % byte
    return text


def lines(path, node):
    name = escaped(os.fsencode(path), blank=True)
    if node[0] == "dir":
        return f"dir {name}\n"
    if node[0] == "link":
        return f"link {name} {escaped(os.fsencode(node[1]))}\n"
    if node[0] == "netlink":
        return f"{path} <<END\n" + "".join(f"hex {message.hex(' ')}\n" for message in node[1]) + "END\n"
    body = node[1]
    legible = all(32 <= byte < 127 or byte in (9, 10) for byte in body)
    if body.count(b"\n") > 1 and legible and body.endswith(b"\n"):
        return f"file {name} <<END\n{body.decode()}END\n"
    return f'text {name} "{escaped(body)}"\n'


def write(path, tree, before):
    with open(path, "w") as out:  # a folder that went takes all below it along
        for name in sorted(set(before) - set(tree)):
            if not any(name.startswith(other + "/") for other in set(before) - set(tree)):
                out.write(f"gone {escaped(os.fsencode(name), blank=True)}\n")
        for name, node in tree.items():
            if before.get(name) != node:
                out.write(lines(name, node))
    if os.path.getsize(path) == 0:
        os.remove(path)


def tools(folder, before):
    os.makedirs(folder, exist_ok=True)
    for name, command in TOOLS.items():
        if shutil.which(command.split()[0]) or command.startswith("for"):
            said = subprocess.run(command, shell=True, capture_output=True, stdin=subprocess.DEVNULL, timeout=120)
            if said.returncode == 0 and said.stdout.strip() and before.get(name) != said.stdout:
                before[name] = said.stdout
                with open(f"{folder}/{name}", "wb") as out:
                    out.write(said.stdout)


def main():
    out = sys.argv[1]
    os.makedirs(out, exist_ok=True)
    wanted = {"volumes": volumes}
    if os.environ.get("RECORD_KERNEL", "1") != "0":
        wanted["kernel"] = kernel
    events = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 15)  # NETLINK_KOBJECT_UEVENT
    events.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
    events.bind((0, 1))
    events.setblocking(False)
    with open(out + "/about", "w") as about:
        about.write(f"kernel {os.uname().release} {os.uname().machine}\nrecorded {time.strftime('%Y-%m-%d')}\n")
        for number, command in enumerate(sys.argv[2:], 1):
            about.write(f"moment {number} after: {command}\n")
    before = {name: Tree() for name in wanted}
    said = {}
    for moment, command in enumerate([None] + sys.argv[2:]):
        suffix = f".{moment}" if moment else ""
        if command:
            subprocess.run(command, shell=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        for name, read in wanted.items():
            tree = read()
            write(f"{out}/{name}{suffix}", tree, before[name])
            before[name] = tree
        received = []
        while True:
            try:
                message = events.recv(1 << 16)
            except BlockingIOError:
                break
            if b"\0SUBSYSTEM=block\0" in message and moment:
                received.append(escaped(message).replace("\\x00", "\\0"))
        if received:
            with open(f"{out}/uevents{suffix}", "w") as file:
                file.write("\n".join(received) + "\n")
        tools(f"{out}/tools{suffix}", said)


main()
