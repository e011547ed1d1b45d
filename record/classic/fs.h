// Filesystems.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr Field FSNowFields[] = {
    {"device",     Role::Id,    "",      Form::Text },
    {"total",      Role::Level, "bytes", Form::Real0},
    {"free",       Role::Level, "bytes", Form::Real0},
    {"avail",      Role::Level, "bytes", Form::Real0},
    {"totalinode", Role::Level, "",      Form::Real0},
    {"freeinode",  Role::Level, "",      Form::Real0},
};
inline constexpr Field FSChangeFields[] = {
    {"totaldelta",      Role::Level, "bytes/s", Form::Real0},
    {"freedelta",       Role::Level, "bytes/s", Form::Real0},
    {"availdelta",      Role::Level, "bytes/s", Form::Real0},
    {"totalinodedelta", Role::Level, "/s",      Form::Real0},
    {"freeinodedelta",  Role::Level, "/s",      Form::Real0},
    {"type",            Role::Text,  "",        Form::Text },
};
inline constexpr auto FSDirField = only({"dir", Role::Id, "", Form::Text});
inline constexpr auto FSUsageFields = joined<FSNowFields, FSDirField>();
inline constexpr auto FSDeltaFields = joined<FSNowFields, FSChangeFields, FSDirField>();

inline constexpr Kind FSUsageKind = {"fsinfo", FSUsageFields};
inline constexpr Kind FSDeltaKind = {"FSDELTA", FSDeltaFields};
} // namespace classic
