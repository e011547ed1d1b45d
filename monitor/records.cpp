#include "monitor/records.h"

TRecordList allRecords() {
    TRecordList list;
    for (auto* tell : {tellIntervalRecords, tellSystemInfoRecords, tellProbeRecords, tellBasicRecords, tellProcRecords,
                       tellDescriptorRecords, tellLifeRecords, tellPortRecords, tellNetifRecords, tellProtocolRecords,
                       tellDiskRecords, tellFSRecords, tellVolumeRecords})
        tell(list);
    return list;
}
