// The page: places for the charts, of which only those near the screen are drawn; buttons and links.

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

// Empty places of all charts, with a link to each section.
function fillPage() {
    const grids = {};
    for (const [word, title] of data.sections) {
        grids[word] = element('div', { class: 'grid' });
        byId('charts').append(element('section', { id: word, 'aria-label': title }, element('h2', {}, title), grids[word]));
        byId('places').append(element('a', { href: '#' + word }, title));
    }
    if (byId('tables')) byId('places').append(element('a', { href: '#tables' }, 'Tables'));
    data.charts.forEach((chart, i) => grids[chart.section].append(place(chart, i)));
    byId('bar').hidden = byId('help').hidden = false;
}

const show = chart => { if (!shown.has(chart)) shown.add(chart), draw(chart); };
const hide = chart => { if (shown.delete(chart)) remove(chart); };
function drawWhatIsNear() {
    const observer = new IntersectionObserver(entries => {
        for (const entry of entries) (entry.isIntersecting ? show : hide)(entry.target.chart);
        showCursor();
    }, { rootMargin: '300px' });
    for (const chart of data.charts) observer.observe(chart.figure);
}
// All that is drawn, anew: other colours, another width, paper.
function drawAgain() {
    readColors();
    for (const chart of shown) remove(chart), draw(chart);
    showCursor();
}

// --- Buttons and links

function listenToButtons() {
    const on = (id, action) => byId(id).addEventListener('click', action);
    on('earlier', () => move(-0.25));
    on('later', () => move(0.25));
    on('closer', () => zoom(0.5));
    on('wider', () => zoom(2));
    on('whole', () => setView(whole.from, whole.to));
}

// The section with the charts of a finding's resource.
const places = {
    CPU: 'cpu', FORKS: 'cpu', MEMORY: 'memory', DISK: 'disks', BLOCKED: 'disks', FS: 'filesystems', LINK: 'network',
    TCP: 'network', LISTEN: 'network', SOCKET: 'network', QUOTA: 'groups',
};
// A finding's link zooms to its worst time.
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
function openTables(hash) {
    const target = hash && byId(hash.slice(1));
    if (target && target.tagName === 'DETAILS') target.open = true;
}
function follow(hash) {
    const finding = /^#finding-(\d+)$/.exec(hash);
    if (finding) zoomTo(Number(finding[1]));
    else openTables(hash);
}
function listenToLinks() {
    document.addEventListener('click', event => {
        const link = event.target.closest && event.target.closest('a');
        if (!link) return;
        const hash = link.getAttribute('href');
        if (link.dataset.finding) {
            event.preventDefault();
            history.replaceState(null, '', hash);
        }
        follow(hash);
    });
}

// --- Window and paper

function listenToWindow() {
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', drawAgain);
    let width = innerWidth, resized = 0;
    addEventListener('resize', () => {
        if (innerWidth === width) return; // a phone's bars come and go
        width = innerWidth;
        clearTimeout(resized);
        resized = setTimeout(drawAgain, 100);
    });
    addEventListener('beforeprint', () => {
        document.documentElement.classList.add('printing');
        for (const chart of data.charts) show(chart);
        drawAgain();
    });
    addEventListener('afterprint', () => {
        document.documentElement.classList.remove('printing');
        drawAgain();
    });
}

if (data.charts.length) {
    readColors();
    fillPage();
    drawWhatIsNear();
    listenToButtons();
    listenToLinks();
    follow(location.hash);
    listenToWindow();
    showCursor();
}
