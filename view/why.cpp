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

FindingTexts::FindingTexts(const Interval& interval) : culprits(interval.who.rows), sufferers(interval.suffer.rows) {
    for (auto& group : interval.cgroups.rows)
        if (!group.name.empty()) groups.emplace(group.path, group.name);
}

// A group is called by the name that its row has.
std::string FindingTexts::heading(const WhyRow& why) const {
    if (why.object.empty()) return safeText(why.resource);
    const auto group = groups.find(why.object);
    return safeText(why.resource) + " " + safeText(group == groups.end() ? why.object : group->second);
}

// "blocked: postgres x8, rsync[4411]; major faults: sshd[811] 44/s"
std::string FindingTexts::sufferText(const WhyRow& why) const {
    std::string text, what;
    for (auto* row : sufferers.of(why)) {
        text += row->what == what ? ", " : (text.empty() ? "" : "; ") + safeText(row->what) + ": ";
        what = row->what;
        text += safeText(row->name);
        if (row->pid) text += "[" + std::to_string(*row->pid) + "]";
        if (row->count > 1) text += " x" + countText(static_cast<double>(row->count));
        if (row->value) text += " " + fixedText(*row->value, 1) + (row->unit == "s" ? " s" : safeText(row->unit));
    }
    return text;
}

std::vector<const WhoRow*> FindingTexts::culpritsOf(const WhyRow& why) const {
    const auto all = culprits.of(why);
    std::vector<const WhoRow*> rows(all.begin(), all.end());
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) { return a->place < b->place; });
    return rows;
}

const WhoRow* FindingTexts::first(const WhyRow& why) const {
    const auto rows = culpritsOf(why);
    return rows.empty() ? nullptr : rows.front();
}

FindingText FindingTexts::of(const WhyRow& why) const {
    FindingText text;
    text.heading = heading(why);
    text.figures = safeText(why.figure) + " " + figureText(why.rule, why.value, why.unit) +
                   limitOf(why.rule, why.limit, "limit ") + (why.text.empty() ? "" : ", " + safeText(why.text));
    for (auto* who : culpritsOf(why))
        text.culprits.push_back({shareText(*who), culpritText(*who), safeText(who->evidence)});
    text.after = sufferText(why);
    if (!text.after.empty()) text.after = "suffer: " + text.after;
    for (const auto& more : {safeText(why.note), endText(why)})
        if (!more.empty() && !text.figures.starts_with(more)) // a filesystem's first figure is when it will be full
            text.after.append(text.after.empty() ? "" : "   ").append(more);
    return text;
}

static void showFinding(const FindingTexts& texts, const WhyRow& why, Page& page) {
    constexpr size_t Margin = 5, Widest = 48; // of the share; of a culprit, so that evidence lines up
    const auto text = texts.of(why);
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
    const FindingTexts texts(interval);
    for (auto& why : interval.why.rows) showFinding(texts, why, page);
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
    const FindingTexts texts(interval);
    page.piece("1 of " + std::to_string(interval.why.rows.size()) + "  ", used);
    page.piece(texts.heading(why), used, Tone::Bad);
    const auto figure = safeText(why.figure) + " " + figureText(why.rule, why.value, why.unit);
    page.piece(" " + figure, used);
    if (const auto* who = texts.first(why))
        page.piece(": " + shareText(*who) + " " + culpritText(*who) +
                       (who->path.empty() ? "" : " " + safeText(who->path)),
                   used);
    const auto end = endText(why);
    if (!end.empty() && end != figure) page.piece(", " + end, used);
    page.newline();
}
