#include "view/why.h"

#include "view/format.h"
#include "why/findings.h"

#include <algorithm>
#include <vector>

// --- Texts

// "41.2 ms"; a rule of another version has only its unit.
static std::string figureText(const std::string& name, const std::optional<double>& value, const std::string& unit) {
    if (!value) return std::string(NoValue);
    const auto* rule = findRule(name);
    return rule ? valueText(rule->rule, *value) : fixedText(*value, 1) + safeText(unit);
}

// " (limit 20)"; in brackets after a figure of several.
static std::string limitOf(const std::string& name, const std::optional<double>& limit, const char* word) {
    const auto* rule = findRule(name);
    if (!limit) return {};
    return std::string(" (") + word + (rule ? limitText(rule->rule, *limit) : fixedText(*limit, 1)) + ")";
}

// A group is called by the name that its row has.
static std::string objectText(const Interval& interval, const std::string& object) {
    for (auto& group : interval.cgroups.rows)
        if (group.path == object && !group.name.empty()) return safeText(group.name);
    return safeText(object);
}

static std::string headingOf(const Interval& interval, const WhyRow& why) {
    return safeText(why.resource) + (why.object.empty() ? "" : " " + objectText(interval, why.object));
}

// "rsync[4411] root backup.service"
static std::string culpritText(const WhoRow& who) {
    if (who.role == "others") return safeText(who.name) + " others";
    std::string text = who.role.empty() ? "" : safeText(who.role) + " of ";
    text += safeText(who.name);
    if (who.pid) text += "[" + std::to_string(*who.pid) + "]";
    if (who.count > 1) text += " x" + countText(static_cast<double>(who.count));
    if (!who.user.empty()) text += " " + safeText(who.user);
    if (!who.unit.empty()) text += " " + safeText(who.unit);
    return text;
}

static std::string shareText(const WhoRow& who) {
    return std::to_string(who.share) + "% " + (who.mark ? safeText({&who.mark, 1}) : "?");
}

static std::string endText(const WhyRow& why) {
    return why.ends ? safeText(why.end) + " in " + spanText(*why.ends) : std::string();
}

// "sdb waits 2.1 ms (20)"
static std::string nearText(const NearRow& row) {
    std::string text;
    for (const char c : row.resource) text += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    text = safeText(text) + (row.object.empty() ? "" : " " + safeText(row.object)) + " " + safeText(row.figure) + " ";
    return text + figureText(row.rule, row.value, row.unit) + limitOf(row.rule, row.limit, "");
}

std::string nearestText(const Interval& interval) {
    std::string text;
    for (auto& row : interval.nearest.rows) text.append(text.empty() ? "" : ", ").append(nearText(row));
    return text;
}

static std::string calmText(const Interval& interval) {
    const auto nearest = nearestText(interval);
    return "nothing under pressure" + (nearest.empty() ? "" : "; nearest: " + nearest);
}

// --- The area

// "blocked: postgres x8, rsync[4411]; major faults: sshd[811] 44/s"
static std::string sufferText(const Interval& interval, const WhyRow& why) {
    std::string text, what;
    for (auto& row : interval.suffer.rows) {
        if (row.rank != why.rank || row.resource != why.resource || row.object != why.object) continue;
        text += row.what == what ? ", " : (text.empty() ? "" : "; ") + safeText(row.what) + ": ";
        what = row.what;
        text += safeText(row.name);
        if (row.pid) text += "[" + std::to_string(*row.pid) + "]";
        if (row.count > 1) text += " x" + countText(static_cast<double>(row.count));
        if (row.value) text += " " + fixedText(*row.value, 1) + (row.unit == "s" ? " s" : safeText(row.unit));
    }
    return text;
}

static std::vector<const WhoRow*> culpritsOf(const Interval& interval, const WhyRow& why) {
    std::vector<const WhoRow*> rows;
    for (auto& row : interval.who.rows)
        if (row.rank == why.rank && row.resource == why.resource && row.object == why.object) rows.push_back(&row);
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) { return a->place < b->place; });
    return rows;
}

FindingText textOf(const Interval& interval, const WhyRow& why) {
    FindingText text;
    text.heading = headingOf(interval, why);
    text.figures = safeText(why.figure) + " " + figureText(why.rule, why.value, why.unit) +
                   limitOf(why.rule, why.limit, "limit ") + (why.text.empty() ? "" : ", " + safeText(why.text));
    for (auto* who : culpritsOf(interval, why))
        text.culprits.push_back({shareText(*who), culpritText(*who), safeText(who->evidence)});
    text.after = sufferText(interval, why);
    if (!text.after.empty()) text.after = "suffer: " + text.after;
    for (const auto& more : {safeText(why.note), endText(why)})
        if (!more.empty() && !text.figures.starts_with(more)) // a filesystem's first figure is when it will be full
            text.after.append(text.after.empty() ? "" : "   ").append(more);
    return text;
}

static void showFinding(const Interval& interval, const WhyRow& why, Page& page) {
    constexpr size_t Margin = 5, Widest = 48; // of the share; of a culprit, so that evidence lines up
    const auto text = textOf(interval, why);
    const std::string rank = std::to_string(why.rank);
    size_t used = 0;
    page.piece(rank + std::string(3 - std::min<size_t>(2, rank.size()), ' ') + text.heading, used, Tone::Bad);
    page.clauses("   " + text.figures, used);
    page.newline();
    size_t width = 0;
    for (auto& culprit : text.culprits)
        if (!culprit.evidence.empty()) width = std::max(width, std::min(textWidth(culprit.who), Widest));
    for (auto& culprit : text.culprits) {
        std::string line(Margin + 3 - std::min(Margin + 2, culprit.share.size()), ' ');
        line.append(culprit.share).append(" ").append(culprit.who);
        if (!culprit.evidence.empty())
            line.append(width - std::min(width, textWidth(culprit.who)) + 3, ' ').append(culprit.evidence);
        page.clauses(line);
    }
    if (!text.after.empty()) page.clauses("   " + text.after);
    if (!why.worst.empty())
        page.clauses("   in " + countText(static_cast<double>(why.intervals)) + " intervals, " +
                     spanText(static_cast<double>(why.lasted_us) / 1e6) + ", from " + safeText(why.since) + " to " +
                     safeText(why.until) + "; worst " + safeText(why.worst));
}

void showWhy(const Interval& interval, const View&, Page& page) {
    if (!isJudged(interval)) return page.line("no figures to find causes by");
    if (interval.why.rows.empty()) return page.clauses(calmText(interval));
    for (auto& why : interval.why.rows) showFinding(interval, why, page);
    const auto nearest = nearestText(interval);
    if (!nearest.empty()) page.clauses("not under pressure (nearest): " + nearest, Tone::Dim);
}

// --- The line

void showWhyLine(const Interval& interval, Page& page) {
    if (!isJudged(interval)) return;
    size_t used = 0;
    page.piece("WHY   ", used, Tone::Title);
    if (interval.why.rows.empty()) {
        page.piece(calmText(interval), used);
        return page.newline();
    }
    const auto& why = interval.why.rows.front();
    page.piece("1 of " + std::to_string(interval.why.rows.size()) + "  ", used);
    page.piece(headingOf(interval, why), used, Tone::Bad);
    const auto figure = safeText(why.figure) + " " + figureText(why.rule, why.value, why.unit);
    page.piece(" " + figure, used);
    const auto culprits = culpritsOf(interval, why);
    if (!culprits.empty()) {
        const auto& who = *culprits.front();
        page.piece(": " + shareText(who) + " " + culpritText(who) + (who.path.empty() ? "" : " " + safeText(who.path)),
                   used);
    }
    const auto end = endText(why);
    if (!end.empty() && end != figure) page.piece(", " + end, used);
    page.newline();
}
