// What the page has to show: the figures of all charts, read from the texts that they are packed in.

const byId = id => document.getElementById(id);
const data = JSON.parse(byId('data').textContent);
// All times are those of the machine, as if its clock were UTC.
const shift = data.offset * 60000;
const whole = { from: data.from + shift, to: data.to + shift };
for (const list of [data.gaps].concat(data.findings.map(finding => finding.stretches)))
    for (const stretch of list) stretch[0] += shift, stretch[1] += shift;
for (const mark of data.marks) mark.time += shift;
for (const finding of data.findings) finding.worst += shift;

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
