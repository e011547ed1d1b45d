// The rows of threads that ran or waited.
#pragma once

#include "record/rows.h"
#include "record/thread.h"
#include "sample/thread.h"

void threadRows(const ThreadSample& sample, Rows<ThreadsRow>& all, Rows<ThreadRow>& threads);
