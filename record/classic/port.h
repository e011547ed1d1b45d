// Sockets.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr Field StateFields[] = {
    {"established", Role::Level, "sockets", Form::Int},
    {"listen",      Role::Level, "sockets", Form::Int},
    {"syn_sent",    Role::Level, "sockets", Form::Int},
    {"syn_recv",    Role::Level, "sockets", Form::Int},
    {"fin_wait1",   Role::Level, "sockets", Form::Int},
    {"fin_wait2",   Role::Level, "sockets", Form::Int},
    // Quirk: the name for TIME_WAIT is not a state of TCP. Readers of old logs expect it. Seen by
    // tests/worlds/port-states-records.
    {"fin_wait",    Role::Level, "sockets", Form::Int},
    {"close",       Role::Level, "sockets", Form::Int},
    {"close_wait",  Role::Level, "sockets", Form::Int},
    {"last_ack",    Role::Level, "sockets", Form::Int},
    {"closing",     Role::Level, "sockets", Form::Int},
    {"na",          Role::Level, "sockets", Form::Int},
};
inline constexpr Kind StateKind = {"TCP", StateFields, std::size(StateFields)};

inline constexpr Field PortFields[] = {
    {"slot",       Role::Id,    "",      Form::Int   },
    {"protocol",   Role::Id,    "",      Form::Letter},
    {"localadd",   Role::Id,    "",      Form::Text  },
    {"localport",  Role::Id,    "",      Form::Int   },
    {"remoteadd",  Role::Id,    "",      Form::Text  },
    {"remoteport", Role::Id,    "",      Form::Int   },
    {"status",     Role::Text,  "",      Form::Text  },
    {"rxq",        Role::Level, "bytes", Form::Int   },
    {"txq",        Role::Level, "bytes", Form::Int   },
    {"retrnsmt",   Role::Level, "",      Form::Int   },
    // Quirk: the account's name, despite the key. Seen by tests/worlds/port-users-records.
    {"uid",        Role::Text,  "",      Form::Text  },
    {"timeout",    Role::Level, "",      Form::Int   },
    {"inode",      Role::Id,    "",      Form::Long  },
    {"ref",        Role::Text,  "",      Form::Text  },
};
inline constexpr Kind PortKind = {"PORT", PortFields, std::size(PortFields)};
} // namespace classic
