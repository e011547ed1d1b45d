#include "wyrtlog/chart/page.h"

#include "base/figures.h"
#include "view/why.h"
#include "wyrtlog/chart/encode.h"
#include "wyrtlog/chart/sources.h"

#include <algorithm>
#include <map>

// --- Times and spans

static std::string timeText(int64_t epoch_ms, int16_t offset_min) {
    std::string text;
    appendMoment(text, {epoch_ms, offset_min});
    text[text.find('T')] = ' ';
    return text.substr(0, text.find('.'));
}

// "14:05:10", or with the date where the span has several.
static std::string clockText(const PageContent& content, int64_t epoch_ms) {
    const auto text = timeText(epoch_ms, content.offset_min);
    const auto day = [&](int64_t time) { return timeText(time, content.offset_min).substr(0, 10); };
    return day(content.events->from()) == day(content.events->to()) ? text.substr(11) : text;
}

static std::string plural(uint64_t count, std::string_view one, std::string_view many) {
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

static std::string lengthText(int64_t ms) { return spanText(static_cast<double>(ms) / 1000); }

// --- The head of the page

// "2026-11-21 14:05:10 to 2026-11-22 14:05:10 +01:00"
static std::string spanLine(const PageContent& content) {
    std::string zone;
    appendOffset(zone, content.offset_min);
    return timeText(content.events->from(), content.offset_min) + " to " +
           timeText(content.events->to(), content.offset_min) + " " + zone;
}

static void appendFact(std::string& out, std::string_view name, const std::string& value) {
    out.append("<div><dt>").append(name).append("</dt><dd>");
    appendHtml(out, value);
    out += "</dd></div>\n";
}

static std::string summary(const PageContent& content) {
    const auto& events = *content.events;
    std::string out;
    if (events.intervals() == 0) return "<p>The log has no interval in this span.</p>\n";
    out += "<p class=\"span\">" + html(spanLine(content)) + "</p>\n<dl class=\"facts\">\n";
    appendFact(out, "span", lengthText(events.to() - events.from()));
    appendFact(out, "intervals",
               std::to_string(events.intervals()) +
                   (content.interval_ms > 0 ? " of " +
                                                  fixedText(static_cast<double>(content.interval_ms) / 1000,
                                                            content.interval_ms % 1000 ? 1 : 0) +
                                                  " s"
                                            : ""));
    if (content.host.cpus) appendFact(out, "CPUs", std::to_string(*content.host.cpus));
    if (content.host.memory) appendFact(out, "memory", sizeText(static_cast<double>(*content.host.memory)));
    if (!content.host.kernel.empty()) appendFact(out, "kernel", content.host.kernel);
    if (!events.gaps().empty()) {
        int64_t missing = 0;
        for (auto& gap : events.gaps()) missing += gap.to_ms - gap.from_ms;
        appendFact(out, "not recorded", lengthText(missing) + " in " + plural(events.gaps().size(), "gap", "gaps"));
    }
    for (auto& mark : events.marks()) {
        appendFact(out, mark.text, clockText(content, mark.time_ms));
        if (&mark - events.marks().data() >= 4) break; // all of them are in the charts
    }
    const auto appendLeftOut = [&](const char* what, size_t count) {
        if (count > 0) appendFact(out, what, std::to_string(count) + " more, which moved less, have no charts");
    };
    appendLeftOut("disks", content.disksLeftOut), appendLeftOut("interfaces", content.linksLeftOut);
    appendFact(out, "recorded by", "wyrt " + content.head.version);
    return out + "</dl>\n";
}

// --- Findings

static constexpr size_t MostFindings = 40; // a page is for people

// When it was one, along the whole span.
static void appendStrip(std::string& out, const PageContent& content, const Incident& finding) {
    constexpr double Width = 1000; // units of the drawing
    const auto from = static_cast<double>(content.events->from());
    const double all = std::max(1.0, static_cast<double>(content.events->to()) - from);
    out += "<svg class=\"strip\" viewBox=\"0 0 1000 8\" preserveAspectRatio=\"none\" aria-hidden=\"true\">";
    for (auto& stretch : finding.stretches) {
        const double x = (static_cast<double>(stretch.from_ms) - from) / all * Width;
        const double width = std::max(3.0, static_cast<double>(stretch.to_ms - stretch.from_ms) / all * Width);
        out += "<rect x=\"" + fixedText(std::min(x, Width - 3), 1) + "\" y=\"0\" width=\"" + fixedText(width, 1) +
               "\" height=\"8\"/>";
    }
    out += "</svg>\n";
}

static std::string whenText(const PageContent& content, const Incident& finding) {
    const auto& first = finding.stretches.front();
    const auto& last = finding.stretches.back();
    std::string text = "lasted " + lengthText(static_cast<int64_t>(finding.why.lasted_us / 1000));
    if (finding.why.intervals > 1) text += " in " + plural(finding.why.intervals, "interval", "intervals");
    if (finding.stretches.size() > 1) text += ", " + std::to_string(finding.stretches.size()) + " times";
    return text + ", from " + clockText(content, first.from_ms) + " to " + clockText(content, last.to_ms);
}

static void appendFinding(std::string& out, const PageContent& content, const FindingTexts& texts,
                          const Incident& finding, const std::string& tables) {
    const auto number = std::to_string(finding.why.rank);
    const auto text = texts.of(finding.why);
    out += "<li id=\"finding-" + number + "\">\n<h3><a class=\"zoom\" href=\"#finding-" + number +
           "\" data-finding=\"" + number + "\">" + html(text.heading) + ": " + html(text.figures) + "</a></h3>\n";
    out += "<p class=\"when\">" + html(whenText(content, finding)) + "; worst at <a href=\"#" + tables + "\">" +
           html(clockText(content, finding.worst_ms)) + "</a></p>\n";
    appendStrip(out, content, finding);
    if (!text.culprits.empty()) out += "<ul class=\"culprits\">\n";
    for (auto& culprit : text.culprits)
        out += "<li><span class=\"share\">" + html(culprit.share) + "</span> <bdi>" + html(culprit.who) +
               "</bdi> <span class=\"evidence\">" + html(culprit.evidence) + "</span></li>\n";
    if (!text.culprits.empty()) out += "</ul>\n";
    if (!text.after.empty()) out += "<p class=\"after\">" + html(text.after) + "</p>\n";
    out += "</li>\n";
}

// The tables of the worst intervals, each once.
static std::string tablesOf(const PageContent& content, const std::vector<Incident>& findings,
                            std::map<int64_t, std::string>& places) {
    std::string out;
    for (auto& finding : findings) {
        if (finding.why.rank > MostFindings || places.contains(finding.worst_ms) || !finding.tables) continue;
        const auto place = "worst-" + std::to_string(places.size() + 1);
        places[finding.worst_ms] = place;
        std::string findingsThen;
        for (auto& other : findings)
            if (other.worst_ms == finding.worst_ms && other.why.rank <= MostFindings)
                findingsThen += (findingsThen.empty() ? "" : ", ") + other.why.resource +
                                (other.why.object.empty() ? "" : " " + other.why.object);
        out += "<details id=\"" + place + "\"><summary>" + html(clockText(content, finding.worst_ms)) + ": worst of " +
               html(findingsThen) + "</summary>\n<pre tabindex=\"0\">";
        appendHtml(out, *finding.tables);
        out += "</pre></details>\n";
    }
    return out;
}

static std::string leftOutText(const Events& events) {
    const auto count = events.leftOut();
    return count == 0 ? "" : ", but not " + std::to_string(count) + " that were least and are not kept";
}

static std::string findingsOf(const PageContent& content, const Interval& interval,
                              const std::vector<Incident>& findings, const std::map<int64_t, std::string>& places) {
    std::string out;
    if (content.events->intervals() == 0) return out;
    const auto nearest = nearestText(interval);
    if (findings.empty())
        out += "<p class=\"calm\">Nothing was under pressure" + (nearest.empty() ? "" : "; nearest: " + html(nearest)) +
               ".</p>\n";
    else out += "<ol class=\"findings\">\n";
    const FindingTexts texts(interval);
    for (auto& finding : findings) {
        if (finding.why.rank > MostFindings) break;
        const auto place = places.find(finding.worst_ms);
        appendFinding(out, content, texts, finding, place == places.end() ? "tables" : place->second);
    }
    if (findings.empty()) return out;
    out += "</ol>\n";
    if (findings.size() > MostFindings)
        out += "<p>These are the " + std::to_string(MostFindings) + " longest or most severe of " +
               std::to_string(findings.size()) + "; wyrt why lists the others" + leftOutText(*content.events) +
               ".</p>\n";
    if (!nearest.empty()) out += "<p class=\"calm\">Not under pressure, nearest: " + html(nearest) + "</p>\n";
    return out;
}

// --- The data of the charts

static void appendStretches(std::string& out, const std::vector<Stretch>& stretches) {
    out += '[';
    for (auto& stretch : stretches)
        out += (out.back() == '[' ? "[" : ",[") + std::to_string(stretch.from_ms) + "," +
               std::to_string(stretch.to_ms) + "]";
    out += ']';
}

static void appendPicture(std::string& out, const Picture& picture) {
    out += "{\"section\":";
    appendPageJson(out, wordOf(picture.section));
    out += ",\"title\":", appendPageJson(out, picture.title);
    if (!picture.note.empty()) out += ",\"note\":", appendPageJson(out, picture.note);
    out += ",\"unit\":", appendPageJson(out, picture.unit);
    if (picture.begins) out += ",\"begins\":true";
    if (picture.top > 0) out += ",\"top\":" + fixedText(picture.top, 0);
    if (picture.stacked) out += ",\"times\":\"" + encodedTimes(picture.times) + "\"";
    out += ",\"series\":[";
    for (auto& series : picture.series) {
        if (&series != picture.series.data()) out += ',';
        out += "{\"name\":";
        appendPageJson(out, series.name);
        out += ",\"data\":\"" + encodedFigures(series.values) + "\"}";
    }
    out += "]}";
}

static std::string dataOf(const PageContent& content, const std::vector<Incident>& findings) {
    const auto& events = *content.events;
    std::string out = "{\"from\":" + std::to_string(events.from()) + ",\"to\":" + std::to_string(events.to()) +
                      ",\"offset\":" + std::to_string(content.offset_min) + ",\"gaps\":";
    appendStretches(out, events.gaps());
    out += ",\"marks\":[";
    for (auto& mark : events.marks()) {
        if (&mark != events.marks().data()) out += ',';
        out += "{\"time\":" + std::to_string(mark.time_ms) + ",\"text\":";
        appendPageJson(out, mark.text), out += '}';
    }
    out += "],\"findings\":[";
    for (auto& finding : findings) {
        if (finding.why.rank > MostFindings) break;
        if (&finding != findings.data()) out += ',';
        out += "{\"name\":";
        appendPageJson(out, finding.why.resource + (finding.why.object.empty() ? "" : " " + finding.why.object));
        out += ",\"worst\":" + std::to_string(finding.worst_ms) + ",\"stretches\":";
        appendStretches(out, finding.stretches), out += '}';
    }
    out += "],\"sections\":[";
    std::string_view last;
    for (auto& picture : content.pictures) {
        const auto word = wordOf(picture.section);
        if (word == last) continue;
        out += last.empty() ? "[" : ",[";
        appendPageJson(out, word), out += ',', appendPageJson(out, titleOf(picture.section)), out += ']';
        last = word;
    }
    out += "],\"times\":\"" + encodedTimes(content.times) + "\",\n\"charts\":[";
    for (auto& picture : content.pictures) {
        if (&picture != content.pictures.data()) out += ",\n";
        appendPicture(out, picture);
    }
    return out + "]}";
}

// --- All of it

std::string pageOf(const PageContent& content) {
    Interval interval;
    const auto findings = content.events->findings(interval);
    std::map<int64_t, std::string> places; // of tables, by time
    const auto tables = tablesOf(content, findings, places);
    const std::string title = html(content.head.host.empty() ? "wyrt" : content.head.host);
    const std::map<std::string_view, std::string> parts = {
        {"title", title},
        {"css", std::string(DygraphsCss) + std::string(PageCss)},
        {"summary", summary(content)},
        {"findings", findingsOf(content, interval, findings, places)},
        {"tables",
         tables.empty() ? "" : "<section id=\"tables\">\n<h2>Worst intervals</h2>\n" + tables + "</section>\n"},
        {"data", dataOf(content, findings)},
        {"library", std::string(DygraphsScript)},
        {"licence", html(DygraphsLicence)},
        {"script", std::string(PageScript)},
    };
    std::string out;
    for (size_t at = 0; at < PageHtml.size();) {
        const auto open = std::min(PageHtml.find("{{", at), PageHtml.size());
        out += PageHtml.substr(at, open - at);
        const auto close = PageHtml.find("}}", open);
        if (close == PageHtml.npos) break;
        if (const auto part = parts.find(PageHtml.substr(open + 2, close - open - 2)); part != parts.end())
            out += part->second;
        at = close + 2;
    }
    return out;
}
