// Numbers, times and the steps of axes, for people.

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
