#include "tests/world/lines.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <stdexcept>

std::string decoded(std::string_view s) {
    static constexpr std::string_view Names = "ntr0\\\"s", Values("\n\t\r\0\\\" ", 7);
    std::string text;
    for (size_t i = 0; i < s.size(); i++) {
        if (s[i] != '\\' || i + 1 == s.size()) {
            text += s[i];
        } else if (s[++i] == 'x') {
            text += static_cast<char>(std::strtol(std::string(s.substr(i + 1, 2)).c_str(), nullptr, 16));
            i += 2;
        } else {
            const auto known = Names.find(s[i]);
            if (known == Names.npos) throw std::runtime_error("unknown escape in " + std::string(s));
            text += Values[known];
        }
    }
    return text;
}

std::string cutWord(std::string& line) {
    line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
    std::string word = line.substr(0, line.find(' '));
    line.erase(0, word.size());
    line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
    return word;
}

int errnoByName(const std::string& name) {
    static const std::map<std::string, int> Known = {
        {"EACCES", EACCES},
        {"ENOENT", ENOENT},
        {"EIO", EIO},
        {"EPERM", EPERM},
        {"ENOMEM", ENOMEM},
        {"ELOOP", ELOOP},
        {"ESRCH", ESRCH},
        {"EMFILE", EMFILE},
        {"ENFILE", ENFILE},
        {"ENOTDIR", ENOTDIR},
        {"EISDIR", EISDIR},
        {"ESTALE", ESTALE},
        {"EROFS", EROFS},
        {"ENAMETOOLONG", ENAMETOOLONG},
        {"EBUSY", EBUSY},
        {"EINVAL", EINVAL},
        {"ENOSYS", ENOSYS},
        {"EHOSTDOWN", EHOSTDOWN},
        {"EFAULT", EFAULT},
        {"ENOSPC", ENOSPC},
        {"EDQUOT", EDQUOT},
        {"ENODEV", ENODEV},
        {"ENOBUFS", ENOBUFS},
        {"EOPNOTSUPP", EOPNOTSUPP},
        {"EPROTONOSUPPORT", EPROTONOSUPPORT},
        {"ETIMEDOUT", ETIMEDOUT},
        {"EWOULDBLOCK", EWOULDBLOCK},
        {"EEXIST", EEXIST},
    };
    const auto known = Known.find(name);
    if (known == Known.end()) throw std::runtime_error("unknown error " + name);
    return known->second;
}
