// Processes, their open files and their sockets.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr Field SummaryFields[] = {
    {"processcount", Role::Level, "",   Form::Int  },
    {"threadcount",  Role::Level, "",   Form::Int  },
    {"socketcount",  Role::Level, "",   Form::Int  },
    {"pipecount",    Role::Level, "",   Form::Int  },
    {"anoncount",    Role::Level, "",   Form::Int  },
    {"filecount",    Role::Level, "",   Form::Int  },
    // Quirk: three more fields than the header names: all system calls per second, those that read, those that write.
    // Seen by tests/worlds/proc-table-records.
    {"sysc",         Role::Level, "/s", Form::Real2},
    {"rsysc",        Role::Level, "/s", Form::Real2},
    {"wsysc",        Role::Level, "/s", Form::Real2},
};
inline constexpr Kind SummaryKind = {"PROCINFO", SummaryFields, std::size(SummaryFields) - 3};

inline constexpr Field PIDFields[] = {
    {"pid",         Role::Id,    "",        Form::Int   },
    {"ppid",        Role::Level, "",        Form::Int   },
    {"user",        Role::Text,  "",        Form::Text  },
    {"status",      Role::Text,  "",        Form::Letter},
    {"usersys",     Role::Level, "ticks/s", Form::Real2 },
    {"user",        Role::Level, "ticks/s", Form::Real2 },
    {"sys",         Role::Level, "ticks/s", Form::Real2 },
    {"rchar",       Role::Level, "bytes/s", Form::Real2 },
    {"wchar",       Role::Level, "bytes/s", Form::Real2 },
    {"rsysc",       Role::Level, "/s",      Form::Real2 },
    {"wsysc",       Role::Level, "/s",      Form::Real2 },
    {"rbytes",      Role::Level, "bytes/s", Form::Real2 },
    {"wbytes",      Role::Level, "bytes/s", Form::Real2 },
    {"majfault",    Role::Level, "/s",      Form::Real2 },
    {"minfault",    Role::Level, "/s",      Form::Real2 },
    {"starttime",   Role::Id,    "s",       Form::Int   },
    {"vmsize",      Role::Level, "KB",      Form::Real0 },
    {"vmpin",       Role::Level, "KB",      Form::Real0 },
    {"vmrss",       Role::Level, "KB",      Form::Real0 },
    {"vmdata",      Role::Level, "KB",      Form::Real0 },
    {"vmstack",     Role::Level, "KB",      Form::Real0 },
    {"vmlib",       Role::Level, "KB",      Form::Real0 },
    {"vmswap",      Role::Level, "KB",      Form::Real0 },
    {"threadcount", Role::Level, "",        Form::Int   },
    {"command",     Role::Text,  "",        Form::Text  },
    {"arg",         Role::Text,  "",        Form::Text  },
};
inline constexpr Kind PIDKind = {"PID", PIDFields, std::size(PIDFields)};

inline constexpr Field FileFields[] = {
    {"pid",      Role::Id,    "",        Form::Int  },
    {"command",  Role::Text,  "",        Form::Text },
    {"fdnumber", Role::Id,    "",        Form::Long },
    {"delta",    Role::Level, "bytes/s", Form::Real2},
    {"flags",    Role::Level, "",        Form::Hex7 },
    {"filename", Role::Id,    "",        Form::Text },
};
inline constexpr Kind FileKind = {"FDINFO", FileFields, std::size(FileFields)};

inline constexpr Field SocketFields[] = {
    {"pid",     Role::Id,   "", Form::Int },
    {"command", Role::Text, "", Form::Text},
    {"inode",   Role::Id,   "", Form::Long},
};
inline constexpr Kind SocketKind = {"SOCKINFO", SocketFields};

inline constexpr Field LifeFields[] = {
    {"command", Role::Text,  "", Form::Text},
    {"user",    Role::Text,  "", Form::Text},
    {"pid",     Role::Id,    "", Form::Int },
    {"ppid",    Role::Level, "", Form::Int },
};
inline constexpr Kind CreatedKind = {"CPROC", LifeFields};
inline constexpr Kind TerminatedKind = {"TPROC", LifeFields};
} // namespace classic
