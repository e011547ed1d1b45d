#include "parse/fdlink.h"

#include "base/words.h"

FDLink parseFDLink(std::string_view target) {
    std::string_view rest;
    if (afterKey(target, "socket:[", rest)) return {FDLink::Kind::Socket, toLong(rest)};
    if (afterKey(target, "pipe:[", rest)) return {FDLink::Kind::Pipe, toLong(rest)};
    return {target.starts_with("anon_inode:") ? FDLink::Kind::Anonymous : FDLink::Kind::Other, 0};
}
