// The part of the span that all charts show, and their rows in it.

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
