"""Reports, looked at in a browser without a network."""

import io
import re

import numpy as np
import pytest
from PIL import Image
from screens import ACET, HCA, poses
from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

import nxbriochem as nx
from nxbriochem.screening import Protocol, report, work
from nxbriochem.screening.records import Record, core_molecule
from nxbriochem.screening.store import Store
from nxbriochem.screening.version import VERSION

try:
    report._resource("3Dmol-min.js")
    HAS_3DMOL = True
except OSError:  # the build had no network
    HAS_3DMOL = False

NAMES = ["plain", "<img src=x onerror=alert(1)>", "</script><script>alert(2)</script>", "caf\u00e9 & 'co'"]


@pytest.fixture(scope="module")
def screened(tmp_path_factory):
    """A screen with 10,000 rows: real poses, and made-up rows above them."""
    place = tmp_path_factory.mktemp("report")
    (place / "p.pqr").write_text(poses(12, step=0.3))
    result = nx.screen(HCA, [place / "p.pqr", ACET], place / "out", refine=True, iterations=3, workers=1,
                       command="nxbrio-screen <made by a test>")
    highest = max(row["energy"] for row in result.best(20))
    rows = []
    with open(ACET, "rb") as file:
        acet = file.read()
    for k in range(9987):
        record = Record("made-up.pqr", k, k, "pqr", acet)
        energy = highest + 0.01 + (k * 7919 % 9987) / 100
        outcome = work.Outcome(work.DONE, name=f"{NAMES[k % 4]} {k}", energy=energy, coulomb=energy, atoms=k % 90)
        rows.append(((record.key(b"%d" % k), record), outcome))
    with Store(place / "out", Protocol(refine=True, iterations=3), VERSION) as store:
        assert store.add(1, *map(list, zip(*rows))) == len(rows)
    result.report(place / "report.html")
    return result, place / "report.html"


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    for argument in ("--headless", "--no-sandbox", "--disable-dev-shm-usage", "--use-angle=swiftshader",
                     "--enable-unsafe-swiftshader", "--window-size=1400,1000", "--host-resolver-rules=MAP * ~NOTFOUND"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    options.binary_location = "/usr/bin/chromium"
    with webdriver.Chrome(service=webdriver.chrome.service.Service("/usr/bin/chromedriver"), options=options) as driver:
        driver.set_page_load_timeout(200)
        yield driver


def visible(browser):
    """The first rows in sight, as texts by column."""
    return browser.execute_script(
        "return [...document.querySelectorAll('#table tbody tr:not(.spacer)')].slice(0, 20)"
        ".map(r => [...r.cells].map(c => c.textContent))")


def picture(browser):
    return np.asarray(Image.open(io.BytesIO(browser.find_element(By.ID, "view").screenshot_as_png)).convert("RGB"))


def is_drawn(pixels):
    colours = np.unique(pixels.reshape(-1, 3), axis=0)
    return len(colours) > 200 and (pixels.min(axis=2) < 200).mean() > 0.02


def test_report_in_a_browser(screened, browser):
    result, path = screened
    browser.get(path.as_uri())
    assert not [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]
    assert browser.execute_script("return performance.getEntriesByType('resource').length") == 0
    # Only what is in sight is in the document: that is why ten thousand rows are quick.
    assert "10,000 of 10,000 rows" in browser.find_element(By.ID, "shown").text
    assert browser.execute_script("return document.querySelectorAll('#table tr').length") < 80
    assert browser.execute_script("return document.getElementsByTagName('*').length") < 1500
    energies = [row["energy"] for row in result.best(20)]
    assert [row[0] for row in visible(browser)] == [f"{energy:.3f}" for energy in energies]
    # Sorted by number and by name, up and down.
    heads = browser.find_elements(By.CSS_SELECTOR, "#table th")
    heads[0].click()
    assert heads[0].get_attribute("aria-sort") == "descending"
    last = sorted((row["energy"] for row in result.best(10_000)), reverse=True)[:20]
    assert [row[0] for row in visible(browser)] == [f"{energy:.3f}" for energy in last]
    heads[1].click()
    names = [row[1] for row in visible(browser)]
    assert names[0] == "</script><script>alert(2)</script> 2" and heads[1].get_attribute("aria-sort") == "ascending"
    browser.find_element(By.ID, "filter").send_keys("img 41")
    assert all("<img" in row[1] and "41" in row[1] for row in visible(browser))
    browser.execute_script("f = document.getElementById('filter'); f.value = ''; f.dispatchEvent(new Event('input'))")
    # The last row is reached by scrolling.
    heads[0].click()
    browser.execute_script("b = document.getElementById('table'); b.scrollTop = b.scrollHeight")
    WebDriverWait(browser, 30).until(lambda b: f"{last[0]:.3f}" in [row[0] for row in browser.execute_script(
        "return [...document.querySelectorAll('#table tbody tr:not(.spacer)')].map(r => [r.cells[0].textContent])")])


@pytest.mark.skipif(not HAS_3DMOL, reason="3Dmol could not be fetched by the build")
def test_molecule_is_shown(screened, browser):
    result, path = screened
    browser.get(path.as_uri())
    # The best pose at once, and another one after a click.
    WebDriverWait(browser, 60).until(lambda b: is_drawn(picture(b)))
    first = picture(browser)
    label = browser.find_element(By.ID, "pose").text
    assert label == f"{result.best()[0]['name']} at hca, {result.best()[0]['energy']:.3f} kcal/mol"
    assert browser.execute_script("return screenReport.viewer.selectedAtoms({model: 0}).length") == len(nx.read(HCA))
    assert browser.execute_script("return screenReport.viewer.selectedAtoms({model: 1}).length") == len(nx.read(ACET))
    shown = browser.execute_script("return screenReport.viewer.selectedAtoms({model: 1}).map(a => [a.x, a.y, a.z])")
    result.write_poses(12, path.with_name("best.sdf"))
    best = nx.read_all(path.with_name("best.sdf"))
    assert np.abs(np.array(shown) - best[0].coordinates).max() < 2e-4
    far = max(range(12), key=lambda k: np.abs(best[k].coordinates - best[0].coordinates).max())
    browser.execute_script(f"document.querySelector('tr[data-pose=\"{far}\"]').click()")
    WebDriverWait(browser, 60).until(lambda b: is_drawn(picture(b)) and (picture(b) != first).mean() > 0.01)
    # The strongest residues of the pose, the zinc among them.
    table = browser.find_element(By.CSS_SELECTOR, "#residues table").text
    assert "ZN 257" in table
    assert not [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]


def test_page_without_3dmol(screened, browser, monkeypatch, tmp_path):
    result, _ = screened
    whole = report._resource

    def resource(name):
        if name.startswith("3Dmol"):
            raise FileNotFoundError(name)
        return whole(name)

    monkeypatch.setattr(report, "_resource", resource)
    result.report(tmp_path / "bare.html")
    browser.get((tmp_path / "bare.html").as_uri())
    assert "The 3D view is missing" in browser.find_element(By.ID, "view").text
    WebDriverWait(browser, 30).until(lambda b: b.find_elements(By.CSS_SELECTOR, "#residues table"))
    assert len(visible(browser)) == 20
    assert not [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]


def test_what_the_page_says(screened):
    """Every energy is in the distribution, provenance is there, and residues add up to the whole."""
    result, path = screened
    page = path.read_text()
    counts = [int(n.replace(",", "")) for n in re.findall(r"<title>[^<]*: ([\d,]+)</title></rect>", page)]
    assert sum(counts) == 10_000
    for said in (VERSION, "nxbrio-screen &lt;made by a test&gt;", HCA, "<dt>dielectric</dt><dd>4.0</dd>"):
        assert said in page
    assert ("BSD-3-Clause" in page) == HAS_3DMOL
    text = open(HCA, "rb").read()
    scorer = work.scorer_of(core_molecule(HCA, "pqr", text, ""), result.protocol)
    row = result.best(1)[0]
    ligand = core_molecule(row["path"], "pqr", open(ACET, "rb").read() if row["path"] == ACET else poses(
        12, step=0.3).encode().split(b"ENDMDL\n")[row["record"] - 1] + b"ENDMDL\n", "")
    residues = scorer.residues(ligand, work.unpack_pose(row["pose"]))
    assert sum(r[1] + r[2] for r in residues) == pytest.approx(row["energy"], rel=1e-9)
    assert len({r[0] for r in residues}) == len(residues) > 200
