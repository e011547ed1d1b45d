'use strict';
// The charts of the page. They share one span of time and one cursor; only those that are near the screen exist.
(function () {
    const byId = id => document.getElementById(id);
    const data = JSON.parse(byId('data').textContent);
    // All times are those of the machine, as if its clock were UTC.
    const shift = data.offset * 60000;
    const whole = { from: data.from + shift, to: data.to + shift };
    for (const list of [data.gaps].concat(data.findings.map(finding => finding.stretches)))
        for (const stretch of list) stretch[0] += shift, stretch[1] += shift;
    for (const mark of data.marks) mark.time += shift;
    for (const finding of data.findings) finding.worst += shift;
    if (!data.charts.length) return;

    // --- Reading the figures

    const alphabet = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_';
    const digits = new Uint8Array(128);
    for (let i = 0; i < 64; i++) digits[alphabet.charCodeAt(i)] = i;

    function timesOf(text) {
        const times = [];
        let time = shift, step = 0, unit = 1;
        for (let i = 0; i < text.length; i++) {
            const digit = digits[text.charCodeAt(i)];
            step += (digit & 31) * unit, unit *= 32;
            if (digit < 32) times.push(time += step), step = 0, unit = 1;
        }
        return times;
    }

    function figuresOf(text, count) {
        const leastPower = -12, zero = 61, unknown = 62, repeated = 63;
        const figures = new Float64Array(count);
        let at = 0;
        for (let i = 0; i < text.length && at < count;) {
            const power = digits[text.charCodeAt(i++)];
            if (power === zero) figures[at++] = 0;
            else if (power === unknown) figures[at++] = NaN;
            else {
                const bits = digits[text.charCodeAt(i)] * 64 + digits[text.charCodeAt(i + 1)];
                i += 2;
                if (power === repeated) figures.fill(figures[at - 1], at, at + bits + 1), at += bits + 1;
                else figures[at++] = (1 + bits / 4096) * 2 ** (power + leastPower);
            }
        }
        return figures;
    }

    const commonTimes = timesOf(data.times);

    // Fills in what drawing needs: `times` with a row for the begin of the span and of what follows a gap, and `rows`,
    // the figures' index for each of them; -1 is a gap.
    function read(chart) {
        if (chart.rows) return;
        const times = chart.times === undefined ? commonTimes : timesOf(chart.times);
        chart.stacked = chart.times !== undefined;
        chart.at = [], chart.rows = [];
        const put = (time, row) => { chart.at.push(time), chart.rows.push(row); };
        if (times[0] > whole.from) put(whole.from, 0);
        let gap = 0;
        for (let i = 0; i < times.length; i++) {
            while (i > 0 && gap < data.gaps.length && data.gaps[gap][1] <= times[i]) {
                const [from, to] = data.gaps[gap++];
                if (from < times[i - 1]) continue;
                put(from + 1, -1);
                if (to < times[i]) put(to, i);
            }
            put(times[i], i);
        }
        chart.figures = chart.series.map(series => figuresOf(series.data, times.length));
        chart.totals = chart.stacked ? totalsOf(chart, times.length) : null;
    }

    // What is used: free memory and idle CPUs are part of a stack, but no load.
    function totalsOf(chart, count) {
        const unused = new Set(['free', 'files (cache)', 'waits for I/O (idle)']);
        const totals = new Float64Array(count);
        chart.series.forEach((series, s) => {
            if (!unused.has(series.name))
                for (let i = 0; i < count; i++) totals[i] += chart.figures[s][i];
        });
        return totals;
    }

    // The first index whose time is not before `time`.
    function find(times, time) {
        let low = 0, high = times.length;
        while (low < high) {
            const middle = (low + high) >> 1;
            if (times[middle] < time) low = middle + 1;
            else high = middle;
        }
        return low;
    }

    // --- Numbers for people

    // Three digits that count, without zeros at the end.
    function plain(value) {
        const size = Math.abs(value);
        const text = value.toFixed(size >= 100 ? 0 : size >= 10 ? 1 : size >= 0.1 ? 2 : 3);
        return text.includes('.') ? text.replace(/\.?0+$/, '') : text;
    }
    function scaled(value, step, units) {
        let i = 0;
        while (Math.abs(value) >= step && i < units.length - 1) value /= step, i++;
        return plain(value) + units[i];
    }
    const sizes = ['', 'K', 'M', 'G', 'T', 'P'];
    function numberText(value, unit) {
        if (value === null || Number.isNaN(value)) return '-';
        if (unit === '%') return plain(value) + '%';
        if (unit === 'ms') return value >= 1000 ? plain(value / 1000) + ' s' : plain(value) + ' ms';
        if (unit === 'B' || unit === 'B/s') {
            const text = scaled(value, 1024, ['', ' Ki', ' Mi', ' Gi', ' Ti', ' Pi']);
            return text + (/[a-z]$/.test(text) ? '' : ' ') + unit;
        }
        return scaled(value, 1000, sizes) + unit;
    }
    const two = number => String(number).padStart(2, '0');
    function dayText(time) {
        const date = new Date(time);
        return date.getUTCFullYear() + '-' + two(date.getUTCMonth() + 1) + '-' + two(date.getUTCDate());
    }
    const severalDays = dayText(whole.from) !== dayText(whole.to);
    function timeText(time) {
        const date = new Date(time);
        const clock = two(date.getUTCHours()) + ':' + two(date.getUTCMinutes()) + ':' + two(date.getUTCSeconds());
        return severalDays ? dayText(time) + ' ' + clock : clock;
    }

    // Steps of an axis: bytes in powers of 1024, all else in powers of 10.
    function ticker(unit) {
        return (low, high, pixels) => {
            const most = Math.max(2, Math.floor(pixels / 26)), least = (high - low) / most;
            let step = 1;
            if (unit.startsWith('B') && least > 1) {
                const power = 1024 ** Math.floor(Math.log(least) / Math.log(1024) + 1e-9);
                step = power * ([1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024].find(n => n * power >= least) || 1024);
            } else {
                const power = 10 ** Math.floor(Math.log10(least || 1) + 1e-9);
                step = power * ([1, 2, 5, 10].find(n => n * power >= least) || 10);
            }
            const ticks = [];
            for (let v = Math.ceil(low / step) * step; v <= high * 1.0001; v += step)
                ticks.push({ v, label: Math.abs(v) < step / 2 ? '0' : axisText(v, unit) });
            return ticks;
        };
    }
    // Short: an axis has little room, and the title has the rest of the unit.
    function axisText(value, unit) {
        if (unit.startsWith('B')) return scaled(value, 1024, sizes);
        return unit === '%' ? plain(value) + '%' : unit === 'ms' ? plain(value) + ' ms' : scaled(value, 1000, sizes);
    }

    // --- What is shown

    const view = { from: whole.from, to: whole.to };
    let cursor = null;
    const shown = new Set(); // charts that exist
    let waiting = false;

    function setView(from, to) {
        const least = Math.min(2000, whole.to - whole.from);
        let length = Math.min(Math.max(to - from, least), whole.to - whole.from);
        from = Math.max(whole.from, Math.min(from + (to - from - length) / 2, whole.to - length));
        view.from = from, view.to = from + length;
        if (waiting) return;
        waiting = true;
        requestAnimationFrame(() => {
            waiting = false;
            for (const chart of shown) redraw(chart);
            showCursor();
        });
    }
    function zoom(factor, around) {
        const middle = around === undefined ? (view.from + view.to) / 2 : around;
        setView(middle - (middle - view.from) * factor, middle + (view.to - middle) * factor);
    }
    function move(share) {
        const by = (view.to - view.from) * share;
        const room = by < 0 ? Math.max(by, whole.from - view.from) : Math.min(by, whole.to - view.to);
        setView(view.from + room, view.to + room);
    }

    // The rows of the span that is shown, no more than the screen has room for: of what falls into the same pixels, the
    // least and the largest stay.
    function rowsOf(chart, width) {
        const { at, rows, figures, totals } = chart;
        const first = Math.max(0, find(at, view.from) - 1), last = Math.min(at.length - 1, find(at, view.to));
        const out = [], count = figures.length;
        const row = i => {
            const values = [at[i]];
            for (let s = 0; s < count; s++) values.push(rows[i] < 0 ? null : figures[s][rows[i]]);
            return values;
        };
        if (last - first < width) {
            for (let i = first; i <= last; i++) out.push(row(i));
            return out;
        }
        // Each bucket is two rows. Of stacks, all parts are drawn anew for each row, which takes longer.
        const span = (view.to - view.from) / (width / (totals ? 4 : 2));
        const flush = (from, to) => {
            if (to - from < 2) {
                for (let i = from; i <= to; i++) out.push(row(i));
            } else if (totals) {
                let least = from, most = from;
                for (let i = from; i <= to; i++) {
                    if (totals[rows[i]] < totals[rows[least]]) least = i;
                    if (totals[rows[i]] > totals[rows[most]]) most = i;
                }
                if (least !== most) out.push(row(Math.min(least, most)));
                out.push(row(Math.max(least, most)));
            } else {
                const one = [at[from]], other = [at[to]];
                for (let s = 0; s < count; s++) {
                    let least = -1, most = -1;
                    for (let i = from; i <= to; i++) {
                        const value = figures[s][rows[i]];
                        if (Number.isNaN(value)) continue;
                        if (least < 0 || value < figures[s][rows[least]]) least = i;
                        if (most < 0 || value > figures[s][rows[most]]) most = i;
                    }
                    one.push(least < 0 ? null : figures[s][rows[Math.min(least, most)]]);
                    other.push(least < 0 ? null : figures[s][rows[Math.max(least, most)]]);
                }
                out.push(one, other);
            }
        };
        let from = first;
        for (let i = first; i <= last; i++) {
            const bucket = Math.floor((at[i] - view.from) / span);
            const ends = i === last || rows[i + 1] < 0 || Math.floor((at[i + 1] - view.from) / span) !== bucket;
            if (rows[i] < 0) out.push(row(i)), from = i + 1;
            else if (ends) flush(from, i), from = i + 1;
        }
        return out;
    }

    // --- Drawing

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

    // --- Titles, legends and the cursor

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

    // --- Mouse, touch, keyboard

    function listen(chart) {
        const { overlay, selected } = chart;
        const pointers = new Map();
        let start = null, touched = null;
        const timeAt = x => chart.graph.toDataXCoord(x - overlay.getBoundingClientRect().left + chart.graph.getArea().x);
        const spread = () => {
            const xs = [...pointers.values()];
            return { middle: (xs[0] + xs[1]) / 2, width: Math.max(20, Math.abs(xs[0] - xs[1])) };
        };
        overlay.addEventListener('pointerdown', event => {
            if (event.button !== 0 || !chart.graph) return;
            overlay.setPointerCapture(event.pointerId);
            pointers.set(event.pointerId, event.clientX);
            start = event.clientX;
            touched = { from: view.from, to: view.to, time: timeAt(start), x: start };
            if (pointers.size === 2) touched.pinch = spread(), touched.time = timeAt(touched.pinch.middle);
            setCursor(timeAt(start));
        });
        overlay.addEventListener('pointermove', event => {
            if (!chart.graph) return;
            if (pointers.has(event.pointerId)) pointers.set(event.pointerId, event.clientX);
            if (!pointers.size) return setCursor(timeAt(event.clientX));
            const perPixel = (touched.to - touched.from) / chart.graph.getArea().w;
            if (event.pointerType === 'mouse') {
                const box = overlay.getBoundingClientRect();
                const left = Math.max(0, Math.min(start, event.clientX) - box.left);
                selected.hidden = false;
                selected.style.left = left + 'px';
                selected.style.width = Math.min(box.width - left, Math.abs(event.clientX - start)) + 'px';
                setCursor(timeAt(event.clientX));
            } else if (pointers.size === 2 && touched.pinch) {
                const now = spread(), length = (touched.to - touched.from) * touched.pinch.width / now.width;
                const share = (touched.time - touched.from) / (touched.to - touched.from);
                setView(touched.time - length * share, touched.time + length * (1 - share));
            } else if (Math.abs(event.clientX - start) > 4) {
                const by = (start - event.clientX) * perPixel, length = touched.to - touched.from;
                const from = Math.max(whole.from, Math.min(touched.from + by, whole.to - length));
                setView(from, from + length);
            }
        });
        const end = event => {
            if (!pointers.delete(event.pointerId)) return;
            selected.hidden = true;
            if (event.type !== 'pointerup' || event.pointerType !== 'mouse' || Math.abs(event.clientX - start) < 5) return;
            const times = [timeAt(start), timeAt(event.clientX)].sort((a, b) => a - b);
            setView(Math.max(view.from, times[0]), Math.min(view.to, times[1]));
        };
        overlay.addEventListener('pointerup', end);
        overlay.addEventListener('pointercancel', end);
        overlay.addEventListener('pointerleave', event => { if (event.pointerType === 'mouse' && !pointers.size) setCursor(null); });
        overlay.addEventListener('dblclick', () => setView(whole.from, whole.to));
        overlay.addEventListener('keydown', event => {
            if (event.ctrlKey || event.altKey || event.metaKey || !chart.graph) return;
            const keys = {
                ArrowLeft: () => step(chart, -1), ArrowRight: () => step(chart, 1),
                Home: () => setCursor(view.from), End: () => setCursor(view.to),
                '+': () => zoom(0.5, cursor === null ? undefined : cursor), '=': () => zoom(0.5, cursor === null ? undefined : cursor),
                '-': () => zoom(2, cursor === null ? undefined : cursor), '0': () => setView(whole.from, whole.to),
                Escape: () => setCursor(null),
            };
            if (event.shiftKey && event.key.startsWith('Arrow')) {
                if (event.key === 'ArrowLeft') move(-0.25);
                else if (event.key === 'ArrowRight') move(0.25);
                else return;
            } else if (keys[event.key]) keys[event.key]();
            else return;
            event.preventDefault();
        });
    }
    // The cursor goes to the next point that can be seen.
    function step(chart, by) {
        const least = (view.to - view.from) / widthOf(chart); // a pixel
        let i = cursor === null ? find(chart.at, by > 0 ? view.from : view.to) : find(chart.at, cursor);
        if (cursor !== null) do i += by; while (chart.at[i] !== undefined && Math.abs(chart.at[i] - cursor) < least);
        i = Math.max(0, Math.min(chart.at.length - 1, i));
        const time = Math.max(whole.from, Math.min(chart.at[i], whole.to));
        if (time < view.from) move(-0.25);
        if (time > view.to) move(0.25);
        setCursor(time);
    }

    // --- The page

    function place(chart, number) {
        chart.title = chart.title.trim();
        const id = 'chart-' + number;
        chart.peak = element('span', { class: 'peak' });
        chart.legend = element('ul', { class: 'legend' });
        chart.line = element('div', { class: 'cursor', hidden: '' });
        chart.selected = element('div', { class: 'selected', hidden: '' });
        chart.overlay = element('div', {
            class: 'overlay', tabindex: '0', role: 'slider', 'aria-labelledby': id, 'aria-valuemin': String(whole.from),
            'aria-valuemax': String(whole.to), 'aria-valuenow': String(whole.from), 'aria-valuetext': timeText(whole.from),
        }, chart.line, chart.selected);
        chart.plot = element('div', { class: 'plot' }, element('div', { class: 'graph', 'aria-hidden': 'true' }), chart.overlay);
        const note = element('p', { class: 'note' }, ...(chart.note ? [element('bdi', {}, chart.note), '; '] : []), chart.peak);
        const caption = element('figcaption', {}, element('h3', { id }, element('bdi', {}, chart.title)), note);
        chart.figure = element('figure', chart.begins ? { class: 'begins' } : {}, caption, chart.plot, chart.legend);
        chart.figure.chart = chart;
        listen(chart);
        return chart.figure;
    }

    readColors();
    const grids = {};
    for (const [word, title] of data.sections) {
        grids[word] = element('div', { class: 'grid' });
        byId('charts').append(element('section', { id: word, 'aria-label': title }, element('h2', {}, title), grids[word]));
        byId('places').append(element('a', { href: '#' + word }, title));
    }
    if (byId('tables')) byId('places').append(element('a', { href: '#tables' }, 'Tables'));
    data.charts.forEach((chart, i) => grids[chart.section].append(place(chart, i)));
    byId('bar').hidden = byId('help').hidden = false;

    const show = chart => { if (!shown.has(chart)) shown.add(chart), draw(chart); };
    const hide = chart => { if (shown.delete(chart)) remove(chart); };
    const observer = new IntersectionObserver(entries => {
        for (const entry of entries) (entry.isIntersecting ? show : hide)(entry.target.chart);
        showCursor();
    }, { rootMargin: '300px' });
    for (const chart of data.charts) observer.observe(chart.figure);

    byId('earlier').addEventListener('click', () => move(-0.25));
    byId('later').addEventListener('click', () => move(0.25));
    byId('closer').addEventListener('click', () => zoom(0.5));
    byId('wider').addEventListener('click', () => zoom(2));
    byId('whole').addEventListener('click', () => setView(whole.from, whole.to));

    // A finding's link zooms to its worst time, and goes to the charts of its resource.
    const places = { CPU: 'cpu', FORKS: 'cpu', MEMORY: 'memory', DISK: 'disks', BLOCKED: 'disks', FS: 'filesystems', LINK: 'network', NET: 'network', QUOTA: 'groups', GROUP: 'groups' };
    function zoomTo(number) {
        const finding = data.findings[number - 1];
        if (!finding) return;
        // Of several times, that of the worst interval.
        const [from, to] = finding.stretches.find(stretch => stretch[1] >= finding.worst) || finding.stretches[0];
        const room = Math.max((to - from) * 0.25, (whole.to - whole.from) / 500);
        setView(from - room, to + room);
        const section = byId(places[finding.name.split(' ')[0]]) || byId('charts').firstElementChild;
        section.scrollIntoView();
    }
    document.addEventListener('click', event => {
        const link = event.target.closest && event.target.closest('a');
        if (!link) return;
        if (link.dataset.finding) {
            event.preventDefault();
            history.replaceState(null, '', link.getAttribute('href'));
            zoomTo(Number(link.dataset.finding));
        } else open(link.getAttribute('href'));
    });
    function open(hash) {
        const target = hash && byId(hash.slice(1));
        if (target && target.tagName === 'DETAILS') target.open = true;
    }
    const asked = /^#finding-(\d+)$/.exec(location.hash);
    if (asked) zoomTo(Number(asked[1]));
    else open(location.hash);

    // Other colours, another width, paper.
    function again() {
        readColors();
        for (const chart of shown) remove(chart), draw(chart);
        showCursor();
    }
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', again);
    let width = innerWidth, resized = 0;
    addEventListener('resize', () => {
        if (innerWidth === width) return; // a phone's bars come and go
        width = innerWidth;
        clearTimeout(resized);
        resized = setTimeout(again, 100);
    });
    addEventListener('beforeprint', () => {
        document.documentElement.classList.add('printing');
        for (const chart of data.charts) show(chart);
        again();
    });
    addEventListener('afterprint', () => {
        document.documentElement.classList.remove('printing');
        again();
    });
    showCursor();
})();
