// Every kind of record that a log can have, from the definitions that print them: for programs that read a log back,
// and for the test that holds docs/records.md against them.
#pragma once

#include "classic/monitor/report.h"

#include <string_view>
#include <vector>

struct TRecordInfo {
    std::string_view tag;
    std::vector<TFieldInfo> fields;
    size_t announced; // how many of the fields the header record names; 0: it has none
};
using TRecordList = std::vector<TRecordInfo>;

// In the order of docs/records.md.
TRecordList allRecords();

template <typename Row> void tellRecord(const TRecord<Row>& record, TRecordList& list) {
    auto& told = list.emplace_back(TRecordInfo{record.tag, {}, record.announced});
    for (auto& field : record.fields) told.fields.push_back(field.info);
}

// --- What each source prints

void tellIntervalRecords(TRecordList& list);
void tellSystemInfoRecords(TRecordList& list);
void tellProbeRecords(TRecordList& list);
void tellBasicRecords(TRecordList& list);
void tellPortRecords(TRecordList& list);
void tellProcRecords(TRecordList& list);
void tellDescriptorRecords(TRecordList& list);
void tellLifeRecords(TRecordList& list);
void tellNetifRecords(TRecordList& list);
void tellDiskRecords(TRecordList& list);
void tellProtocolRecords(TRecordList& list);
void tellFSRecords(TRecordList& list);
void tellVolumeRecords(TRecordList& list);
