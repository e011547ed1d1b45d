"""Tests of the page of wyrt chart in a browser (browser.py)."""
import os

FirstChart = "document.querySelector('.overlay')"


def window(browser):
    return browser.run("document.getElementById('window').textContent")


def box(browser, element=FirstChart):
    return browser.run(f"(() => {{ const e = {element}; e.scrollIntoView({{block: 'center'}});"
                       "const b = e.getBoundingClientRect(); return [b.left, b.top, b.width, b.height]; })()")


# How many points of the first chart's canvas are not empty.
Drawn = """(() => { const c = document.querySelector('.graph canvas'); if (!c) return 0;
const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data; let n = 0;
for (let i = 3; i < d.length; i += 4) if (d[i]) n++; return n; })()"""


class Tests:
    def __init__(self, browser, pages):
        self.browser, self.pages = browser, pages

    def page(self, name):
        self.browser.open(os.path.join(self.pages, name + ".html"))

    def check(self, name, test):
        """Prints the verdict of one test."""
        why = None
        try:
            why = test()
            troubles = self.browser.troubles()
            why = why or (troubles[0] if troubles else None)
        except (RuntimeError, IndexError, TypeError, ValueError) as error:
            why = str(error).split("\n", 1)[0]
        print(f"not ok {name}: {why}" if why else f"ok {name}", flush=True)

    def draws(self):
        self.page("quiet")
        if self.browser.run(Drawn) < 2000:
            return "the first chart is empty"
        if self.browser.run("document.querySelectorAll('figure').length") < 10:
            return "there are few charts"
        text = window(self.browser)
        return None if "00:00:00 to 01:00:00" in text else f"the window is {text}"

    def zooms(self):
        self.page("quiet")
        x, y, width, height = box(self.browser)
        self.browser.drag(x + width * 0.25, y + height / 2, x + width * 0.5)
        begin, end = [clock(t) for t in window(self.browser).split(" \u00b7 ")[0].split(" to ")] if " to " in window(
            self.browser) else (None, None)
        if begin is None:
            self.browser.mouse("mouseMoved", 1, 1)
            self.browser.wait()
            begin, end = [clock(t) for t in window(self.browser).split(" to ")]
        if abs(begin - 900) > 60 or abs(end - 1800) > 60:
            return f"the window is {window(self.browser)}"
        self.browser.run(FirstChart + ".dispatchEvent(new MouseEvent('dblclick', {bubbles: true}))")
        self.browser.wait()
        return None if "00:00:00 to 01:00:00" in window(self.browser) else "a double click does not show all"

    def finding(self):
        self.page("quiet")
        self.browser.run("document.querySelector('a.zoom').click()")
        self.browser.wait()
        begin, end = [clock(t) for t in window(self.browser).split(" to ")]
        stretches = self.browser.run("JSON.parse(document.getElementById('data').textContent).findings[0].stretches")
        start = self.browser.run("JSON.parse(document.getElementById('data').textContent).from")
        first, last = (stretches[0][0] - start) / 1000, (stretches[-1][1] - start) / 1000
        if not (begin <= first + 1 and end >= last - 1 and end - begin < 3 * (last - first)):
            return f"the finding lasted from {first} to {last}, the window is {begin} to {end}"
        self.page("quiet")
        self.browser.run("document.querySelector('.when a').click()")
        if not self.browser.run("document.querySelector('details[open] pre') !== null"):
            return "the tables of the worst interval stay closed"
        if not self.browser.run("document.querySelector('details[open] pre').textContent.includes('DISK')"):
            return "there is no table of disks"
        return None

    def anchor(self):
        self.browser.open(os.path.join(self.pages, "quiet.html#finding-1"))
        return None if "01:00:00" not in window(self.browser) or "00:00:00" not in window(
            self.browser) else "a link from outside does not zoom"

    def keyboard(self):
        self.page("quiet")
        self.browser.run(FirstChart + ".focus()")
        self.browser.key("ArrowRight")
        self.browser.key("ArrowRight")
        said = self.browser.run(FirstChart + ".getAttribute('aria-valuetext')")
        if "user" not in said or "%" not in said:
            return f"a screen reader hears {said}"
        self.browser.key("+")
        self.browser.key("Escape")
        begin, end = [clock(t) for t in window(self.browser).split(" to ")]
        if not end - begin < 1900:
            return f"+ does not zoom: {window(self.browser)}"
        self.browser.key("ArrowRight", shift=True)
        if not clock(window(self.browser).split(" to ")[0]) > begin:
            return "Shift and an arrow do not move the span"
        self.browser.key("0")
        return None if "00:00:00 to 01:00:00" in window(self.browser) else "0 does not show all"

    def touch(self):
        self.browser.size(400, 800, touch=True)
        self.page("quiet")
        x, y, width, height = box(self.browser)
        y += height / 2

        def pinch(kind, *places):
            self.browser.call("Input.dispatchTouchEvent", type=kind,
                              touchPoints=[{"x": x + width * p, "y": y, "id": i} for i, p in enumerate(places)])
        pinch("touchStart", 0.45, 0.55)
        for step in range(1, 6):
            pinch("touchMove", 0.45 - 0.04 * step, 0.55 + 0.04 * step)
        pinch("touchEnd")
        self.browser.wait()
        self.browser.run("document.querySelector('h1').click()")
        length = self.browser.run("(() => { const t = document.getElementById('window').textContent; return t; })()")
        wide = self.browser.run("document.documentElement.scrollWidth")
        self.browser.size(1400, 1000)
        if "00:00:00 to 01:00:00" in length:
            return "a pinch does not zoom"
        return None if wide <= 400 else f"the page is {wide} pixels wide on a screen of 400"

    def cursor(self):
        self.page("quiet")
        x, y, width, height = box(self.browser)
        self.browser.mouse("mouseMoved", x + width / 4, y + height / 2)
        self.browser.wait()
        values = self.browser.run("[...document.querySelectorAll('.legend b')].filter(b => b.textContent).length")
        charts = self.browser.run("[...document.querySelectorAll('.cursor')].filter(c => !c.hidden).length")
        return None if values > 5 and charts > 1 else f"{values} values at {charts} cursors"

    def everywhere(self):
        """Every chart, as it comes into sight."""
        self.page("quiet")
        self.browser.run("""(async () => { for (const f of document.querySelectorAll('figure')) { f.scrollIntoView();
            await new Promise(done => setTimeout(done, 30)); } })()""")
        empty = self.browser.run("""(async () => { const names = []; for (const f of document.querySelectorAll('figure')) {
            f.scrollIntoView(); await new Promise(done => setTimeout(done, 60));
            if (!f.querySelector('canvas') || !f.querySelector('.legend li')) names.push(f.querySelector('h3').textContent); }
            return names; })()""")
        return f"these have no chart: {empty}" if empty else None

    def hostile(self):
        self.page("hostile")
        self.browser.run("""(async () => { for (const f of document.querySelectorAll('figure')) { f.scrollIntoView();
            await new Promise(done => setTimeout(done, 30)); } })()""")
        if self.browser.run("document.querySelectorAll('img, script:not([id=data])').length") != 2:
            return "a name has become an element"
        if self.browser.run("document.querySelector('h1').textContent.includes('</script><script>alert(1)')") is not True:
            return "the host's name is not shown as it is"
        return None if self.browser.run(Drawn) > 2000 else "the first chart is empty"

    def none(self):
        self.page("none")
        text = self.browser.run("document.body.textContent")
        return None if "The log has no interval in this span." in text else "it does not say so"

    def one(self):
        self.page("one")
        return None if self.browser.run(Drawn) > 1000 else "the first chart is empty"

    def year(self):
        self.page("year")
        if self.browser.run(Drawn) < 2000:
            return "the first chart is empty"
        return None if "2026-11-21" in window(self.browser) and "2027-11-2" in window(self.browser) else window(self.browser)

    def paper(self):
        self.page("quiet")
        data = self.browser.call("Page.printToPDF", printBackground=True)["data"]
        self.browser.wait()
        if len(data) < 20000:
            return "the paper is empty"
        return None if "printing" not in self.browser.run("document.documentElement.className") else "it stays as on paper"

    def dark(self):
        self.browser.size(1400, 1000, dark=True)
        self.page("quiet")
        ground = self.browser.run("getComputedStyle(document.body).backgroundColor")
        self.browser.size(1400, 1000)
        return None if ground == "rgb(20, 23, 26)" else f"the ground is {ground}"

    def headings(self):
        self.page("quiet")
        levels = self.browser.run("[...document.querySelectorAll('h1, h2, h3')].map(h => Number(h.tagName[1]))")
        if levels.count(1) != 1 or any(b - a > 1 for a, b in zip(levels, levels[1:])):
            return f"levels of headings: {levels}"
        unnamed = self.browser.run("""[...document.querySelectorAll('[role=slider], button')].filter(e =>
            !e.getAttribute('aria-label') && !e.textContent.trim() && !e.getAttribute('aria-labelledby')).length""")
        return f"{unnamed} controls have no name" if unnamed else None


def clock(text):
    """Seconds since midnight of "14:05:10", also after a date."""
    hours, minutes, seconds = text.strip().split(" ")[-1].split(":")
    return int(hours) * 3600 + int(minutes) * 60 + int(seconds)


def test(browser, pages):
    browser.size(1400, 1000)
    tests = Tests(browser, pages)
    for name, words in (("draws", "charts are drawn"), ("zooms", "zoom and back"), ("finding", "the link of a finding"),
                        ("anchor", "a link to a finding from outside"), ("cursor", "one cursor for all"),
                        ("keyboard", "keyboard and screen reader"), ("touch", "touch at 400 pixels"),
                        ("everywhere", "every chart"), ("headings", "headings and names"), ("dark", "dark"),
                        ("paper", "paper"), ("hostile", "hostile names"), ("none", "an empty log"),
                        ("one", "one interval"), ("year", "a year by hours")):
        tests.check(words, getattr(tests, name))
