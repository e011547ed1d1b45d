#include "classic/monitor/records.h"

TRecordList allRecords() {
    TRecordList list;
    for (auto* tell : {tellIntervalRecords, tellSystemInfoRecords, tellProbeRecords, tellBasicRecords, tellPortRecords,
                       tellProcRecords, tellDescriptorRecords, tellLifeRecords, tellNetifRecords, tellDiskRecords,
                       tellProtocolRecords, tellFSRecords, tellVolumeRecords})
        tell(list);
    return list;
}
