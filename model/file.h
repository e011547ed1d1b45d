// What happened to open files in an interval.
#pragma once

#include "record/file.h"
#include "record/proc.h"
#include "record/rows.h"
#include "sample/file.h"

// `processes` are those of the same interval: who they are, and how much they read and wrote. After the first sample
// there are no rows.
void fileRows(const FileSample& now, const Rows<ProcRow>& processes, Rows<FilesRow>& all, Rows<FileRow>& files);
