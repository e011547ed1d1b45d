// Network interfaces and protocol counters.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr Field AddressFields[] = {
    {"name",      Role::Id,   "", Form::Text},
    {"address",   Role::Id,   "", Form::Text},
    {"netmask",   Role::Text, "", Form::Text},
    {"broadcast", Role::Text, "", Form::Text},
};
inline constexpr Kind AddressKind = {"info,nif", AddressFields};

inline constexpr Kind AddressEndKind = {"info,end", {}};

inline constexpr Field NetifFields[] = {
    {"name",     Role::Id,    "",        Form::Text },
    {"ip",       Role::Text,  "",        Form::Text },
    {"rbytes",   Role::Level, "bytes/s", Form::Real2},
    {"wbytes",   Role::Level, "bytes/s", Form::Real2},
    {"rpackets", Role::Level, "/s",      Form::Real2},
    {"wpackets", Role::Level, "/s",      Form::Real2},
    {"rerrors",  Role::Level, "/s",      Form::Real2},
    {"werrors",  Role::Level, "/s",      Form::Real2},
    {"rdrop",    Role::Level, "/s",      Form::Real2},
    {"wdrop",    Role::Level, "/s",      Form::Real2},
    {"colls",    Role::Level, "/s",      Form::Real2},
};
inline constexpr Kind NetifKind = {"NETIF", NetifFields, std::size(NetifFields)};

inline constexpr Field CounterFields[] = {
    {"field",        Role::Id,    "", Form::Text },
    {"name",         Role::Id,    "", Form::Text },
    {"currentvalue", Role::Level, "", Form::Real0},
};
inline constexpr Kind CounterKind = {"N0STAT", CounterFields, std::size(CounterFields)};

inline constexpr Field CounterRateFields[] = {
    {"field", Role::Id,    "",   Form::Text },
    {"name",  Role::Id,    "",   Form::Text },
    {"delta", Role::Level, "/s", Form::Real2},
};
inline constexpr Kind CounterRateKind = {"NSTAT", CounterRateFields, std::size(CounterRateFields)};
} // namespace classic
