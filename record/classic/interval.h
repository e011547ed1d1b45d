// The records that begin and end an interval, and the pause.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr Field TimeFields[] = {
    {"seconds",      Role::Time,  "s",  Form::Int  },
    {"interval",     Role::Level, "",   Form::Int  },
    {"time",         Role::Time,  "",   Form::Text },
    {"milliseconds", Role::Time,  "ms", Form::Milli},
};
inline constexpr Kind TimeKind = {"TIME", TimeFields};

inline constexpr Kind EndKind = {"END_OF_INTERVAL", {}};

inline constexpr Field PauseFields[] = {
    {"ratio",   Role::Level,   "%",  Form::Int  },
    {"elapsed", Role::Elapsed, "s",  Form::Real6},
    {"pause",   Role::Level,   "us", Form::Int  },
};
inline constexpr Kind PauseKind = {"elapsedtime", PauseFields};
} // namespace classic
