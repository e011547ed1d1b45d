#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>
#include <map>

// --- Culprits

namespace {
struct Writer {
    double bytes = 0;
    const FileRow* most = nullptr;
    bool exact = true;
};
} // namespace

static std::string growthText(const Interval& interval, const Writer& writer) {
    std::string text = "grows by " + speedText(perSecond(writer.bytes, interval.files));
    join(text, nameOf(*writer.most));
    if (writer.most->size) text += ", " + sizeText(number(writer.most->size));
    return text;
}

// The files that grow there, by process; where no file is known to, whoever writes to storage.
static void blameGrowers(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& fs = interval.filesystems.rows[finding.at];
    finding.why.total_unit = "B";
    finding.total = static_cast<double>(std::max<int64_t>(fs.growth.value_or(0), 0));
    finding.rest = finding.total > 0 ? "" : "nothing grows there now";
    if (finding.total <= 0) return;
    std::map<std::pair<uint64_t, uint64_t>, Writer> writers;
    for (auto& file : interval.files.rows) {
        if (file.mount != fs.point || file.growth.value_or(0) <= 0) continue;
        auto& writer = writers[{file.pid, file.start}];
        if (!writer.most || *file.growth > *writer.most->growth) writer.most = &file;
        writer.bytes += static_cast<double>(*file.growth);
        writer.exact &= file.mark == "=";
    }
    for (auto& process : interval.processes.rows) {
        const auto found = writers.find({process.pid, process.start});
        if (found == writers.end()) {
            const double bytes = number(process.write_bytes) - number(process.cancelled_bytes);
            if (!writers.empty() || bytes <= 0) continue;
            auto& culprit = finding.culprits.emplace_back(culpritOf(process, bytes));
            culprit.row.mark = '~';
            culprit.row.evidence = "writes " + speedText(perSecond(bytes, interval.processes)) + " to some filesystem";
            continue;
        }
        auto& culprit = finding.culprits.emplace_back(culpritOf(process, found->second.bytes));
        culprit.row.mark = found->second.exact ? '=' : '~';
        culprit.row.descriptor = found->second.most->descriptor, culprit.row.path = found->second.most->path;
        culprit.row.evidence = growthText(interval, found->second);
    }
}

static void blameServer(const Scene& scene, Finding& finding) {
    const auto& fs = scene.interval.filesystems.rows[finding.at];
    auto& culprit = finding.culprits.emplace_back();
    culprit.row.name = fs.source, culprit.row.mark = '~';
    culprit.row.evidence = fs.remote ? "its server does not answer" : "it does not answer";
    culprit.amount = culprit.order = 1;
    finding.total = 1;
    addBlocked(scene, finding);
}

// --- Filesystems

static std::string fullText(const FsRow& fs) {
    std::string text = "full in " + spanText(number(fs.full_in_s));
    return fs.growth_rate ? text + " at " + speedText(*fs.growth_rate) : text;
}

static void judgeOne(Scene& scene, const FsRow& fs, size_t at) {
    constexpr double HalfFull = 50, Soon = 600; // percent; seconds
    Finding* finding = nullptr;
    const auto add = [&](Rule rule, double value, double severity, const char* figure) {
        if (finding && finding->why.severity >= severity) return;
        if (finding) scene.findings.pop_back();
        finding = &scene.add(rule, "FS", fs.point, value, severity);
        finding->why.figure = figure;
        finding->at = at;
        finding->blame = blameGrowers;
    };
    const auto stuck_s = number(fs.stuck_us) / 1e6;
    if (fs.stuck_us && scene.limits.isBeyond(Rule::FsStuck, stuck_s)) {
        add(Rule::FsStuck, stuck_s, 90, "has not answered for");
        finding->why.text = fs.type;
        finding->blame = blameServer;
        return;
    }
    if (fs.read_only) return;
    const auto used = useOf(fs), inodes = inodeUseOf(fs);
    if (used && scene.measure(Rule::FsUsed, "FS", fs.point, *used))
        add(Rule::FsUsed, *used, *used >= 99 ? 80 : *used - 70, "used");
    if (inodes && scene.measure(Rule::FsInodes, "FS", fs.point, *inodes))
        add(Rule::FsInodes, *inodes, *inodes >= 99 ? 80 : *inodes - 70, "inodes used");
    const double seconds = number(fs.full_in_s);
    if (fs.full_in_s && used && (*used >= HalfFull || seconds <= Soon)) {
        if (scene.measure(Rule::FsFullIn, "FS", fs.point, seconds))
            add(Rule::FsFullIn, seconds, seconds <= Soon ? 75 : 35, "full in");
    }
    if (!finding) return;
    auto& why = finding->why;
    if (used && why.rule != textOf(Rule::FsUsed).name) join(why.text, fixedText(*used, 1) + "% used");
    if (fs.available) join(why.text, sizeText(number(fs.available)) + " free");
    if (inodes && *inodes >= HalfFull && why.rule != textOf(Rule::FsInodes).name)
        join(why.text, "inodes " + fixedText(*inodes, 1) + "%");
    if (fs.full_in_s) {
        why.ends = number(fs.full_in_s), why.end = "full";
        if (why.rule != textOf(Rule::FsFullIn).name) join(why.text, fullText(fs));
        else if (fs.growth_rate) join(why.text, "at " + speedText(*fs.growth_rate));
    }
}

void judgeFilesystems(Scene& scene) {
    const auto& rows = scene.interval.filesystems.rows;
    for (size_t i = 0; i < rows.size(); i++) judgeOne(scene, rows[i], i);
}
