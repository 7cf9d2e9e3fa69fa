"""How fast a page is: until its lanes are on the screen, and the script of each zoom step."""

import statistics

DRAWN = "performance.getEntriesByName('tavrin-lanes')[0]?.startTime"


def seconds_until_drawn(browser, path, times=3):
    """Of each opening: from the navigation to the frame after the lanes were drawn, in seconds."""
    found = []
    for _ in range(times):
        # The first frame that begins after the mark shows what was drawn before it.
        page = browser.open(f"file://{path}", before="""
            new PerformanceObserver((list) => {
              if (list.getEntriesByName("tavrin-lanes").length)
                requestAnimationFrame(() => setTimeout(() => performance.mark("test-frame"), 0));
            }).observe({type: "mark", buffered: true});""")
        page.until("performance.getEntriesByName('test-frame').length", 60)
        found.append(page.evaluate(
            "performance.getEntriesByName('test-frame')[0].startTime") / 1000)
        page.close()
    return found


def script_seconds(page):
    metrics = page.call("Performance.getMetrics")["metrics"]
    return next(one["value"] for one in metrics if one["name"] == "ScriptDuration")


def zoom_steps(page, steps=40):
    """The script of each of so many steps of the wheel on the lanes, in milliseconds: all of the
    page's, from the event to the last line plot."""
    page.call("Performance.enable")
    # What follows the opening is over: plots, sums, the report.
    page.until("document.getElementById('window-span').textContent !== '' &&"
               " !document.getElementById('report').hidden", 30)
    page.frames(60)
    left, top, width, height = page.box("#lanes")
    x, y = left + width * 0.6, top + min(height, 200) / 2
    page.mouse("mouseMoved", x, y)
    page.frames(10)
    found = []
    for step in range(steps):
        before = script_seconds(page)
        page.mouse("mouseWheel", x, y, deltaX=0, deltaY=-120 if step < steps * 0.7 else 120)
        page.frames(4)
        found.append((script_seconds(page) - before) * 1000)
    return found


def told(drawn, steps):
    return (f"lanes on the screen after {statistics.median(drawn):.2f} s, a zoom step's script "
            f"{statistics.median(steps):.1f} ms (most {max(steps):.1f} ms)")
