#!/usr/bin/env python3
"""Opens every page of build/site in headless Chromium on a phone's width: nothing is wider than the
page, every picture is there, nothing complains, and every link within the site leads to a page and a
place on it that exist. Text is readable in light and in dark.

    scripts/check_site.py [PART OF A PAGE'S PATH]
"""

import functools
import http.server
import os
import sys
import threading
from pathlib import Path
from urllib.parse import unquote, urldefrag, urlsplit

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

SITE = Path(__file__).resolve().parent.parent / "build" / "site"
WIDTH, HEIGHT = 390, 844

LOOK = """
const width = %d, scrolls = (element) => {
  for (let at = element; at && at !== document.documentElement; at = at.parentElement) {
    const style = getComputedStyle(at);
    if (at !== element && style.overflowX !== 'visible') return true;
    if (style.position === 'fixed') return true;
  }
  return false;
};
const wide = [];
for (const element of document.body.querySelectorAll('*')) {
  const box = element.getBoundingClientRect();
  if (box.width > 0 && box.height > 0 && box.right > width + 1 && !scrolls(element)) {
    wide.push(element.tagName + '.' + element.className + ': ' + Math.round(box.right) + ' '
              + element.textContent.trim().slice(0, 40));
  }
}
return {
  width: document.documentElement.scrollWidth,
  wide: wide.slice(0, 3),
  links: [...new Set([...document.querySelectorAll('a[href], area[href]')].map((link) => link.href))],
  places: [...document.querySelectorAll('[id], a[name]')].flatMap(
      (element) => [element.id, element.getAttribute('name')]).filter(Boolean),
  pictures: [...document.images].filter((image) => image.complete && !image.naturalWidth)
      .map((image) => image.src),
};
""" % WIDTH

CONTRAST = """
const channels = (color) => color.match(/[\\d.]+/g).map(Number);
const luminance = (color) => {
  const [r, g, b] = channels(color).slice(0, 3).map((value) => {
    value /= 255;
    return value <= 0.03928 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const text = document.querySelector('.md-typeset p');
let behind = text;
while (behind && (channels(getComputedStyle(behind).backgroundColor)[3] ?? 1) === 0) behind = behind.parentElement;
const ground = luminance(getComputedStyle(behind || document.body).backgroundColor);
// The text's color may be see-through: what is seen lies between it and the ground.
const [r, g, b, seen = 1] = channels(getComputedStyle(text).color);
const back = channels(getComputedStyle(behind || document.body).backgroundColor);
const ink = luminance([r, g, b].map((value, at) => value * seen + back[at] * (1 - seen)).join(' '));
return [ground, (Math.max(ground, ink) + 0.05) / (Math.min(ground, ink) + 0.05)];
"""


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def serve():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=SITE))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return f"http://127.0.0.1:{server.server_port}/"


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage"):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # its sandbox does not work for the superuser
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": WIDTH, "height": HEIGHT, "deviceScaleFactor": 1, "mobile": True})
    return driver


def in_scheme(driver, scheme):
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                           {"features": [{"name": "prefers-color-scheme", "value": scheme}]})


def main():
    chosen = sys.argv[1] if len(sys.argv) > 1 else ""
    names = sorted(str(path.relative_to(SITE)) for path in SITE.rglob("*.html"))
    # What the search of the API shows in a frame is no page; there is no link to the 404.
    opened = [name for name in names if chosen in name and name != "404.html" and "api/search/" not in name]
    if not opened:
        sys.exit(f"no page has {chosen} in its path; ./run site builds them")
    base, driver, found, pages, outside = serve(), browser(), [], {}, set()
    try:
        for name in opened:
            driver.get(base + name)
            page = pages[name] = driver.execute_script(LOOK)
            if page["width"] > WIDTH or page["wide"]:
                found.append(f"{name}: {page['width']} wide on a screen of {WIDTH}: {page['wide']}")
            found += [f"{name}: no picture {picture}" for picture in page["pictures"]]
            found += [f"{name}: {entry['message'][:160]}" for entry in driver.get_log("browser")
                      if entry["level"] == "SEVERE" and "/favicon.ico" not in entry["message"]]
        for scheme, is_right in (("light", lambda ground: ground > 0.5), ("dark", lambda ground: ground < 0.2)):
            in_scheme(driver, scheme)
            driver.get(base + "index.html")
            driver.execute_script("localStorage.clear(); sessionStorage.clear();")
            driver.get(base + "index.html")
            ground, contrast = driver.execute_script(CONTRAST)
            if not is_right(ground) or contrast < 7:
                found.append(f"index.html: in {scheme}, the ground is {ground:.2f} and the contrast {contrast:.1f}")
    finally:
        driver.quit()

    places = {name: set(page["places"]) for name, page in pages.items()}
    count = 0
    for name, page in pages.items():
        for link in page["links"]:
            address, place = urldefrag(link)
            if not address.startswith(base):
                if urlsplit(link).scheme in ("http", "https"):
                    outside.add(link)
                elif urlsplit(link).scheme not in ("javascript", "mailto"):
                    found.append(f"{name}: {link} leads nowhere")
                continue
            count += 1
            target = unquote(urlsplit(address).path).lstrip("/")
            if target.endswith("/") or not target:
                target += "index.html"
            if not (SITE / target).is_file():
                found.append(f"{name}: there is no {target}")
            elif place and target in places and unquote(place) not in places[target]:
                found.append(f"{name}: {target} has no place {unquote(place)}")
    for problem in found:
        print(problem)
    print(f"site: {len(pages)} pages, {count} links, {len(outside)} to elsewhere (not followed), "
          f"{len(found)} problems")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
