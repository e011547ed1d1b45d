#include "wyrtlog/statefile.h"

#include "base/folder.h"
#include "base/infile.h"
#include "base/outfile.h"

#include <cerrno>

std::optional<std::string> readState(const std::string& path, size_t most) {
    InFile file;
    if (!file.open(path)) return {};
    std::string text;
    for (constexpr size_t Piece = size_t{1} << 16;;) {
        const size_t size = text.size();
        text.resize(size + Piece);
        const size_t read = file.read(text.data() + size, Piece);
        text.resize(size + read);
        if (text.size() > most) return errno = EFBIG, std::nullopt;
        if (read > 0) continue;
        if (!file.failure()) return text;
        return errno = file.failure(), std::nullopt;
    }
}

bool replaceState(const std::string& path, std::string_view text, size_t most) {
    if (text.size() > most) return errno = EFBIG, false;
    const auto next = path + ".new";
    OutFile file;
    if (!file.open(next, OutFile::How::New) || !file.write(text) || !file.sync() || !file.close()) return false;
    if (!renameFile(next.c_str(), path.c_str())) return false;
    const size_t slash = path.rfind('/');
    const auto folder = slash == path.npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    return syncFolder(folder.c_str());
}
