#include "base/door/questions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

static int askSpace(const char* dir, Space& space) {
    struct statfs fs;
    if (statfs(dir, &fs) != 0) return errno;
    space.block = static_cast<uint64_t>(fs.f_frsize ? fs.f_frsize : fs.f_bsize); // the unit of the counts is f_frsize
    space.blocks = fs.f_blocks;
    space.free = fs.f_bfree;
    space.avail = fs.f_bavail;
    space.files = fs.f_files;
    space.files_free = fs.f_ffree;
    space.read_only = (static_cast<unsigned long>(fs.f_flags) & ST_RDONLY) != 0;
    return 0;
}

static int askSpeed(const char* name, int64_t& mbit) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return errno;
    // The masks of link modes follow the settings; their size comes with the first answer, as a negative number.
    constexpr size_t MostMasks = size_t{3} * 127;
    alignas(ethtool_link_settings) char room[sizeof(ethtool_link_settings) + MostMasks * sizeof(uint32_t)] = {};
    auto& link = *new (room) ethtool_link_settings{};
    ifreq request{};
    strncpy(request.ifr_name, name, sizeof request.ifr_name - 1);
    request.ifr_data = room;
    link.cmd = ETHTOOL_GLINKSETTINGS;
    int error = ioctl(fd, SIOCETHTOOL, &request) == 0 ? 0 : errno;
    if (error == 0) {
        link.cmd = ETHTOOL_GLINKSETTINGS;
        link.link_mode_masks_nwords = static_cast<int8_t>(-link.link_mode_masks_nwords);
        error = ioctl(fd, SIOCETHTOOL, &request) == 0 ? 0 : errno;
    }
    close(fd);
    if (error == 0 && link.speed != static_cast<uint32_t>(SPEED_UNKNOWN)) mbit = link.speed;
    return error;
}

static int askFile(const char* path, uint64_t from, AnswerHead& answer, char* text) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return errno;
    int error = from && lseek(fd, static_cast<off_t>(from), SEEK_SET) < 0 ? errno : 0;
    while (!error) {
        char more;
        const bool full = answer.size == MostOfFile;
        const ssize_t n = full ? read(fd, &more, 1) : read(fd, text + answer.size, MostOfFile - answer.size);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) error = errno;
        if (full) answer.cut = n > 0;
        if (full || n <= 0) break;
        answer.size += static_cast<uint32_t>(n);
    }
    close(fd);
    return error;
}

// readdir of the C library would take memory.
static int askNames(const char* path, uint64_t from, AnswerHead& answer, char* text) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (fd < 0) return errno;
    alignas(dirent64) char entries[16384];
    long size = 0;
    for (uint64_t number = 0; !answer.cut && (size = syscall(SYS_getdents64, fd, entries, sizeof entries)) > 0;)
        for (long at = 0; at < size && !answer.cut;) {
            const auto* entry = reinterpret_cast<const dirent64*>(entries + at);
            at += entry->d_reclen;
            const char* name = entry->d_name;
            if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || number++ < from) continue;
            const size_t length = strlen(name);
            answer.cut = answer.size + length + 1 > MostOfFile;
            if (answer.cut) break;
            memcpy(text + answer.size, name, length);
            text[answer.size + length] = '\n';
            answer.size += static_cast<uint32_t>(length + 1);
        }
    const int error = size < 0 ? errno : 0;
    close(fd);
    return error;
}

void answerQuestion(const QuestionMessage& question, AnswerHead& answer, char* text) {
    const char* name = question.text;
    switch (question.kind) {
    case Question::Kind::Space:
        answer.error = askSpace(name, answer.space);
        break;
    case Question::Kind::Speed:
        answer.error = askSpeed(name, answer.mbit);
        break;
    case Question::Kind::File:
        answer.error = askFile(name, question.from, answer, text);
        break;
    case Question::Kind::Names:
        answer.error = askNames(name, question.from, answer, text);
        break;
    case Question::Kind::Sockets: // answered in pieces
    case Question::Kind::Tool:
        answer.error = EINVAL;
        break;
    }
}
