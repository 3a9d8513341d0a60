"""The page of switchctl web in Chromium."""

import os
import re
import shutil
import subprocess
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
import requests
from engines import ROOT, Engine, running, wait_for

from switch_rest import connect

webdriver = pytest.importorskip("selenium.webdriver")
if not (shutil.which("chromedriver") and shutil.which("chromium")):
    pytest.skip("there is no Chromium or no driver for it", allow_module_level=True)

PROGRAM = str(ROOT / "clients/bin/switchctl")


@pytest.fixture
def page(tmp_path: Path) -> Iterator[tuple[str, list[Engine]]]:
    with running(2) as engines:
        prepare(engines[0])
        log = tmp_path / "log"
        environment = os.environ | {"SWITCHCTL_PASSWORD": "admin"}
        words = "--port 0 --interval 0.5 --neighbor 192.0.2.2 --neighbor 192.0.2.3".split()
        with open(log, "w") as out:
            command = [PROGRAM, "web", *words, engines[0].url, engines[1].tls_url]
            process = subprocess.Popen(command, stdout=out, stderr=out, env=environment)
        try:
            found = wait_for(
                "the page", lambda: re.search(r"http://127\S+/$", log.read_text(), re.M)
            )
            yield found[0], engines
        finally:
            process.kill()
            process.wait()
            print(log.read_text())


def prepare(engine: Engine) -> None:
    with connect(engine.url, "admin", "admin") as switch:
        switch.post("/vlans/10")
        switch.put("/vlans/10/name", value="<b>lab</b>")
        switch.post("/if/3/vlan/10")
        switch.put("/if/3/vlan/10/taggingMode", value=1)
        switch.put("/if/4/adminState", value=0)
        switch.put("/if/3/description", value="server & <i>more</i>")
        switch.post("/bgp/ipv4/neighbor/192.0.2.2", asn=65002)


@pytest.fixture
def browser() -> Iterator[Any]:
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu"):
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = webdriver.chrome.service.Service("/usr/bin/chromedriver")
    held = webdriver.Chrome(options=options, service=service)
    held.set_page_load_timeout(60)
    yield held
    held.quit()


def test_the_page(page: tuple[str, list[Engine]], browser: Any) -> None:
    url, engines = page
    browser.set_window_size(1280, 1000)
    browser.get(url)

    def text(selector: str) -> str:
        script = (
            "return [...document.querySelectorAll(arguments[0])].map(e => e.innerText).join('|')"
        )
        return str(browser.execute_script(script, selector))

    def classes(port: int) -> str | None:
        script = "return document.querySelector(`[data-key=port-${arguments[0]}]`)?.className"
        found: str | None = browser.execute_script(script, port)
        return found

    wait_for("ports", lambda: classes(54))
    wait_for("rates", lambda: "Port 53" in text("#rates") or None)
    states = "port up, port off, port, port up fast".split(", ")
    assert [classes(port) for port in (1, 4, 20, 53)] == states
    assert text("h1") == "TX5454" and "TVX2117A00426" in text("#identity")
    members = "return [...document.querySelectorAll('#vlans tr')].map(r => [...r.cells].map(c => c.innerText).join(' '))"
    rows = browser.execute_script(members)
    assert rows[1].startswith("1 default u u u u") and rows[2].startswith("10 <b>lab</b>   t  ")
    assert "192.0.2.2|" not in text("#bgp") and "AS 65002" in text("#bgp")
    assert "unknown to the switch" in text("#bgp") and "Fan 3" in text(".box.bad")
    assert "Transceiver" not in text(".box.bad")

    # The keyboard: one stop for the panel, arrows within it, and the focus outlives an update.
    key = browser.find_element("css selector", "[data-key=port-1]")
    key.send_keys("\ue014", "\ue014")
    assert text("#port").startswith("port 3 (0/3), link, auto neg, VLAN 1, server & <i>more</i>")
    focus = "return [document.activeElement.dataset.key, document.querySelectorAll('#panel [tabindex=\"0\"]').length]"
    before = text("#state")
    wait_for("an update", lambda: text("#state") != before or None)
    assert browser.execute_script(focus) == ["port-3", 1]

    browser.set_window_size(500, 900)  # the least that Chromium makes; the frame is a phone's
    browser.execute_script("document.body.style.width = '360px'")
    wide = "return Math.max(...[...document.querySelectorAll('body, section, #panel')].map(e => e.getBoundingClientRect().right))"
    assert browser.execute_script(wide) <= 360

    browser.find_element("css selector", "nav a:last-child").click()
    second = engines[1].tls_url
    wait_for("the second switch", lambda: second in text("#identity") or None)
    assert text("#vlans tbody tr").count("|") == 0
    engines[1].process.kill()
    wait_for("the failure", lambda: text("#state.failed") or None)
    engines[1].process.wait()
    engines.remove(engines[1])

    loaded = browser.execute_script("return performance.getEntries().map(e => e.name)")
    outside = [name for name in loaded if "://" in name and not name.startswith(url)]
    assert not outside and len(loaded) > 5
    assert not [one for one in browser.get_log("browser") if one["level"] == "SEVERE"]


def test_it_only_looks_and_only_here(page: tuple[str, list[Engine]]) -> None:
    url, [engine, _] = page
    assert requests.get(url, headers={"Host": "switches.example.org:80"}).status_code == 403
    assert requests.post(url).status_code == 501
    assert requests.get(f"{url}../main.py").status_code == 404
    assert "default-src 'self'" in requests.get(url).headers["Content-Security-Policy"]
    sets = (engine.folder / "trace").read_text()
    [name, _] = requests.get(f"{url}switches").json()
    data = requests.get(f"{url}data/{requests.utils.quote(name, safe='')}").json()
    assert len(data["ports"]) == 54 and len(data["vlans"]) == 2
    since = (engine.folder / "trace").read_text()[len(sets) :]
    assert since and not re.search(r"(Set|Create|Add|Delete|Reset)\(", since)
    asked = engine.calls("StatGet")
    time.sleep(1.2)
    assert engine.calls("StatGet") == asked  # nobody looks
