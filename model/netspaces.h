// What the interfaces of other network namespaces did since they were read last, and the names of these namespaces.
#pragma once

#include "record/net.h"
#include "record/rows.h"
#include "record/sock.h"
#include "sample/netnames.h"
#include "sample/netspaces.h"
#include "sample/proc.h"

// `complete`: interfaces without traffic have rows, too, if their namespace was read.
void netSpaceRows(const NetSpaceSample& sample, const NetnsNames& names, const ProcSample& processes, bool complete,
                  Rows<SpaceLinkRow>& to);

// Namespaces that people have named get these names; the others keep that of a container, unit or process.
void nameSpaces(const NetnsNames& names, Rows<NetnsRow>& rows);
