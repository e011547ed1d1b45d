// A chart as the library draws it, with its title, legend and cursor.

let colors = {};
function readColors() {
    const style = getComputedStyle(document.documentElement);
    colors = {};
    for (const name of ['line', 'bad', 'gap', 'quiet']) colors[name] = style.getPropertyValue('--' + name).trim();
    colors.series = Array.from({ length: 9 }, (_, i) => style.getPropertyValue('--s' + i).trim());
}
// What is left over has the colour of nothing special.
const restNames = new Set(['others', 'free', 'waits for I/O (idle)']);
const colorOf = (chart, s) => colors.series[chart.stacked && restNames.has(chart.series[s].name) ? 8 : s % 8];
const dashes = [null, null, null, null, [8, 3], [2, 2], [8, 3, 2, 3], [12, 4]];

// Gaps, findings and restarts, below the lines.
function underlay(context, area, graph) {
    const x = time => graph.toDomXCoord(time);
    const clipped = (from, to, least) => {
        const left = Math.max(area.x, x(from)), right = Math.min(area.x + area.w, Math.max(x(to), x(from) + least));
        return right > left ? [left, right - left] : null;
    };
    context.fillStyle = colors.gap;
    for (const [from, to] of data.gaps) {
        const box = clipped(from, to, 1);
        if (box) context.fillRect(box[0], area.y, box[1], area.h);
    }
    context.fillStyle = colors.bad;
    for (const finding of data.findings)
        for (const [from, to] of finding.stretches) {
            const box = clipped(from, to, 2);
            if (box) context.fillRect(box[0], area.y, box[1], 3);
        }
    context.strokeStyle = colors.quiet;
    context.setLineDash([3, 3]);
    for (const mark of data.marks) {
        if (mark.time < view.from || mark.time > view.to) continue;
        context.beginPath();
        context.moveTo(x(mark.time), area.y), context.lineTo(x(mark.time), area.y + area.h);
        context.stroke();
    }
    context.setLineDash([]);
}

function widthOf(chart) { return Math.max(100, chart.plot.clientWidth - 60); }

function draw(chart) {
    read(chart);
    const order = chart.series.map((_, s) => s);
    if (chart.stacked) order.reverse(); // the library puts the last one at the bottom
    chart.order = order;
    const names = ['time'].concat(order.map(s => String(s)));
    const perSeries = {};
    order.forEach(s => {
        perSeries[String(s)] = chart.stacked ? { strokeWidth: 0.5 } : { strokePattern: dashes[s % dashes.length] };
    });
    chart.graph = new Dygraph(chart.plot.querySelector('.graph'), inOrder(chart), {
        labels: names, colors: order.map(s => colorOf(chart, s)), series: perSeries, dateWindow: [view.from, view.to],
        stackedGraph: chart.stacked, stackedGraphNaNFill: 'none', fillAlpha: 0.85, strokeWidth: 1.5,
        valueRange: chart.top ? [0, chart.top * 1.001] : [0, null], includeZero: true, labelsUTC: true,
        legend: 'never', showLabelsOnHighlight: false, highlightCircleSize: 0, interactionModel: {},
        axisLineColor: colors.line, gridLineColor: colors.line, gridLineWidth: 0.5, underlayCallback: underlay,
        axes: {
            x: { ticker: Dygraph.dateTicker, axisLabelFormatter: Dygraph.dateAxisLabelFormatter, drawGrid: false, pixelsPerLabel: 70 },
            y: { ticker: ticker(chart.unit), axisLabelWidth: chart.plot.clientWidth < 500 ? 40 : 52 },
        },
    });
    fillCaption(chart);
}
function inOrder(chart) {
    const rows = rowsOf(chart, widthOf(chart));
    if (chart.stacked)
        for (const row of rows) {
            const time = row.shift();
            row.reverse().unshift(time);
        }
    return rows;
}
function redraw(chart) {
    chart.graph.updateOptions({ file: inOrder(chart), dateWindow: [view.from, view.to] });
}
function remove(chart) {
    chart.graph.destroy();
    chart.graph = null;
}

function element(name, attributes, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    made.append(...children); // texts stay texts
    return made;
}

// The highest point of the whole span.
function peakOf(chart) {
    let best = -1, value = -1;
    for (let i = 0; i < chart.rows.length; i++) {
        const row = chart.rows[i];
        if (row < 0) continue;
        for (const values of chart.totals ? [chart.totals] : chart.figures)
            if (values[row] > value) value = values[row], best = i;
    }
    return best < 0 ? '' : 'at most ' + numberText(value, chart.unit) + ' at ' + timeText(chart.at[best]);
}

function swatch(chart, s) {
    const space = 'http://www.w3.org/2000/svg';
    const svg = document.createElementNS(space, 'svg');
    svg.setAttribute('aria-hidden', 'true');
    const shape = document.createElementNS(space, chart.stacked ? 'rect' : 'line');
    const set = chart.stacked ? { x: 6, y: 0, width: 10, height: 10, fill: colorOf(chart, s) }
        : { x1: 0, y1: 5, x2: 22, y2: 5, 'stroke-width': 2, stroke: colorOf(chart, s), 'stroke-dasharray': (dashes[s % dashes.length] || []).join(' ') };
    for (const [key, value] of Object.entries(set)) shape.setAttribute(key, value);
    svg.append(shape);
    return svg;
}

function fillCaption(chart) {
    if (!chart.peak.textContent) chart.peak.textContent = peakOf(chart);
    chart.values = chart.series.map(() => element('b', {}));
    chart.legend.replaceChildren(...chart.series.map((series, s) =>
        element('li', {}, swatch(chart, s), element('bdi', {}, series.name), ' ', chart.values[s])));
    showValues(chart);
}

// The row that has the cursor's time, or the last one before the cursor; -1: it is in a gap.
function rowAt(chart, time) {
    const i = find(chart.at, time);
    const near = i > 0 && (i === chart.at.length || time - chart.at[i - 1] < chart.at[i] - time) ? i - 1 : i;
    return chart.rows[near] < 0 ? -1 : near;
}

function showValues(chart) {
    if (!chart.graph) return;
    const row = cursor === null ? -1 : rowAt(chart, cursor);
    const texts = chart.figures.map(values => row < 0 ? '' : numberText(values[chart.rows[row]], chart.unit));
    chart.values.forEach((value, s) => { value.textContent = texts[s]; });
    const left = chart.graph.getArea().x;
    chart.overlay.style.left = left + 'px';
    const x = cursor === null ? -1 : chart.graph.toDomXCoord(cursor) - left;
    chart.line.hidden = x < 0 || x > chart.graph.getArea().w;
    chart.line.style.transform = 'translateX(' + x + 'px)';
    if (document.activeElement === chart.overlay) {
        chart.overlay.setAttribute('aria-valuenow', String(Math.round(cursor === null ? view.from : cursor)));
        chart.overlay.setAttribute('aria-valuetext', cursor === null ? chart.title : timeText(cursor) + ': ' +
            (row < 0 ? 'nothing recorded' : chart.series.map((series, s) => series.name + ' ' + texts[s]).join(', ')));
    }
}

function showCursor() {
    for (const chart of shown) showValues(chart);
    let text = timeText(view.from) + ' to ' + timeText(view.to);
    if (cursor !== null) {
        const now = data.findings.filter(finding => finding.stretches.some(([from, to]) => from <= cursor && cursor <= to));
        const marks = data.marks.filter(mark => Math.abs(mark.time - cursor) < (view.to - view.from) / 200);
        text = timeText(cursor) + now.concat(marks).map(item => ' \u00b7 ' + (item.name || item.text)).join('');
    }
    byId('window').textContent = text;
}
let cursorWaits = false;
function setCursor(time) {
    cursor = time;
    if (cursorWaits) return;
    cursorWaits = true;
    requestAnimationFrame(() => { cursorWaits = false, showCursor(); });
}
