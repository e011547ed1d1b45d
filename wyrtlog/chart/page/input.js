// Mouse, touch and keyboard over a chart.

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
