// Rows of single sockets.
#pragma once

#include "model/sock.h"

// The sockets that moved, hold something in a queue or ended. Of many, those with most of each figure; the amounts of
// those without a row are added up.
void sockRowsOf(const SockSample& sample, const ProcSample& processes, const ViewRow& asked, Rows<SockRow>& rows);
