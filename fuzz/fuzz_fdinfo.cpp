// The target of a descriptor (the first line) and its fdinfo file (the rest).
#include "classic/collect/proclines.h"
#include "fuzz/check.h"
#include "parse/fdinfo.h"
#include "parse/fdlink.h"

static void checkInfo(std::string_view text) {
    const FDInfo info = parseFDInfo(text);
    check(info.flags.size() < FDInfoLineLimit && isFrom(text, info.flags));
    TFDInfo fd;
    getFDInfo(text, fd);
    check(fd.pos == info.pos && (fd.flags == 0 || !info.flags.empty()));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto dest = text.substr(0, text.find('\n'));
    const FDLink link = parseFDLink(dest);
    check(link.inode == 0 || link.kind == FDLink::Kind::Socket || link.kind == FDLink::Kind::Pipe);
    TFDInfo fd;
    getFDType(dest, fd);
    check(fd.fdtype == static_cast<int32_t>(link.kind) && fd.inode == link.inode);
    checkInfo(text.substr(dest.size())); // with an empty first line
    checkInfo(text.substr(dest.size() + (dest.size() < size)));
    return 0;
}
