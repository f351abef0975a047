// node report_page_test.js CHROMIUM QORMATH MODEL.fir [OPTION...]
//
// Has the program write the report of a model, and looks at it in a browser as a user would: opened from the disk, with
// the network cut. Fails with the first thing that is not as it should be.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";

const [executablePath, program, model, ...options] = process.argv.slice(2);

// The number in a cell has as many digits as this tells, or it is a dash where there is none.
function assertShows(text, value, digits, what) {
    if (value === null) {
        assert.equal(text, "–", what);
    } else {
        const shown = Number(text.replace(" %", ""));
        const rounding = 0.51 * 10 ** (1 - digits) * Math.abs(value);
        assert.ok(Math.abs(shown - value) <= rounding, `${what}: ${text}, not ${value}`);
    }
}

async function checkData(page, expected) {
    const embedded = await page.evaluate(() => JSON.parse(document.getElementById("data").textContent));
    assert.deepEqual(embedded, expected, "the data in the page are not those of --json");
}

async function checkFigures(page, expected) {
    const charts = await page.locator(".figures .chart").evaluateAll((all) =>
        all.map((chart) =>
            [chart.querySelectorAll("canvas").length, chart.getAttribute("role"), chart.getAttribute("aria-label")]));
    assert.equal(charts.length, 3);
    for (const [canvases, role, label] of charts) {
        assert.equal(canvases, 1);
        assert.equal(role, "img");
        assert.ok(label.length > 20, label);
    }
    const tables = {
        "order-errors": expected.orderErrors.map((point) => [point.order, point.curveErrorPercent]),
        hankel: expected.hankelSingularValues.map((value, k) => [k + 1, value]),
        poles: expected.poles.map((pole) => [pole.re, pole.im, pole.magnitude]),
    };
    for (const [id, rows] of Object.entries(tables)) {
        const shown = await page.locator(`#${id} details tbody tr`).evaluateAll((all) =>
            all.map((row) => [...row.cells].map((cell) => cell.textContent)));
        assert.equal(shown.length, rows.length, id);
        rows.forEach((row, k) => row.forEach((value, c) => assertShows(shown[k][c], value, 6, `${id}, row ${k}`)));
    }
    const marks = await page.locator("#order-errors .chart").getAttribute("aria-label");
    for (const name of ["coarse", "middle", "fine", "chosen"]) {
        assert.match(marks, new RegExp(`\\b${name}: ${expected.orders[name]}\\b`));
    }
    assert.match(marks, new RegExp(`within .* %: ${expected.orders.tolerance ?? "none"}\\b`));
}

const hasCurve = (pair) => pair.curve !== null || pair.reducedCurve !== null;

// Whether canvases show anything.
const areDrawn = (all) => all.map((canvas) =>
    canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data.some((byte) => byte > 0));

async function checkSteps(page, expected) {
    const cells = page.locator("#steps td button");
    assert.equal(await cells.count(), expected.pairs.length, "not every pair has a cell");
    const labels = await cells.evaluateAll((all) => all.map((cell) => cell.getAttribute("aria-label")));
    expected.pairs.forEach((pair, k) => {
        const name = `${expected.outputNames[pair.output]} from ${expected.inputNames[pair.input]}`;
        assert.ok(labels[k].startsWith(name), `${labels[k]} is not ${name}`);
    });
    assert.deepEqual(
        await page.locator("#steps thead th").evaluateAll((all) => all.map((head) => head.firstChild.textContent)),
        expected.inputNames);
    assert.deepEqual(
        await page.locator("#steps tbody th").evaluateAll((all) => all.map((head) => head.firstChild.textContent)),
        expected.outputNames);

    // Those in sight are drawn, the others as they come into sight.
    const last = cells.nth(expected.pairs.findLastIndex(hasCurve));
    await last.scrollIntoViewIfNeeded();
    await last.locator("canvas").waitFor();
    assert.deepEqual(await last.locator("canvas").evaluateAll(areDrawn), [true], "the last pair is empty");
}

async function checkEveryPairIsDrawnOnPaper(page, expected) {
    await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
    const drawn = await page.locator("#steps td button").evaluateAll(
        (all) => all.map((cell) => cell.querySelectorAll("canvas").length));
    expected.pairs.forEach((pair, k) => assert.equal(drawn[k], hasCurve(pair) ? 1 : 0, `pair ${k} on paper`));
    const drawings = await page.locator("#steps td canvas").evaluateAll(areDrawn);
    assert.ok(drawings.every(Boolean), "a chart is empty");
    await page.evaluate(() => window.dispatchEvent(new Event("afterprint")));
}

async function checkEnlarged(page, expected) {
    const dialog = page.locator("#enlarged");
    const index = expected.pairs.findIndex(hasCurve);
    const pair = expected.pairs[index];
    const title = `${expected.outputNames[pair.output]} from ${expected.inputNames[pair.input]}`;
    const cell = page.locator("#steps td button").nth(index);

    assert.ok(!(await dialog.isVisible()));
    await cell.click();
    assert.ok(await dialog.isVisible(), "a click enlarges nothing");
    assert.equal(await dialog.locator("h2").textContent(), title);
    assert.deepEqual(await dialog.locator("canvas").evaluateAll(areDrawn), [true], "the enlarged pair is empty");
    const facts = await dialog.locator("#enlarged-facts").textContent();
    assertShows(/curve error (\S+) %/.exec(facts)[1], pair.curveErrorPercent, 3, facts);
    await page.keyboard.press("Escape");
    assert.ok(!(await dialog.isVisible()));

    await cell.focus();
    await page.keyboard.press("Enter");
    assert.ok(await dialog.isVisible(), "Enter enlarges nothing");
    const right = expected.pairs[index + 1];  // of the same output, in all plants that are tested
    assert.equal(right.output, pair.output);
    await page.keyboard.press("ArrowRight");
    assert.equal(await dialog.locator("h2").textContent(),
        `${expected.outputNames[right.output]} from ${expected.inputNames[right.input]}`);
    await dialog.locator("#close").click();
    assert.ok(!(await dialog.isVisible()));
    const isFocused = (cell) => cell === document.activeElement;
    assert.ok(await page.locator("#steps td button").nth(index + 1).evaluate(isFocused), "the focus is elsewhere");

    const row = page.locator("#pairs tbody tr").last().locator("button");
    await row.click();
    assert.ok(await dialog.isVisible(), "the button of a row enlarges nothing");
    await page.keyboard.press("Escape");
    assert.ok(await row.evaluate(isFocused), "the focus does not come back to the row");
}

async function checkPairs(page, expected) {
    const digits = [6, 6, 3, 3];
    const rows = () => page.locator("#pairs tbody tr").evaluateAll((all) =>
        all.map((row) => [Number(row.dataset.pair), ...[...row.cells].map((cell) => cell.textContent)]));
    const first = await rows();
    assert.equal(first.length, expected.pairs.length);
    first.forEach(([index, output, input, ...numbers], k) => {
        const pair = expected.pairs[k];
        assert.equal(index, k);
        assert.equal(output, expected.outputNames[pair.output]);
        assert.equal(input, expected.inputNames[pair.input]);
        const values = [pair.gain, pair.reducedGain, pair.gainErrorPercent, pair.curveErrorPercent];
        values.forEach((value, c) => assertShows(numbers[c], value, digits[c], `pair ${k}, column ${c}`));
    });

    const heading = page.locator("#pairs thead button", { hasText: "Curve error" });
    for (const [sort, sign] of [["ascending", 1], ["descending", -1]]) {
        await heading.click();
        assert.equal(await page.locator(`#pairs th[aria-sort]`).getAttribute("aria-sort"), sort);
        const errors = (await rows()).map(([index]) => expected.pairs[index].curveErrorPercent);
        assert.equal(errors.length, expected.pairs.length);
        errors.slice(1).forEach((error, k) => assert.ok(sign * (error - errors[k]) >= 0, `row ${k} is not ${sort}`));
    }
}

async function look(report, expected) {
    const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
    try {
        const context = await browser.newContext({ viewport: { width: 1200, height: 900 } });
        const page = await context.newPage();
        const complaints = [];
        page.on("console", (message) => complaints.push(`${message.type()}: ${message.text()}`));
        page.on("pageerror", (error) => complaints.push(String(error)));
        page.on("request", (request) => {
            if (request.url() !== pathToFileURL(report).href) {
                complaints.push(`asked for ${request.url()}`);
            }
        });
        const start = performance.now();
        await page.goto(pathToFileURL(report).href);
        await page.locator("#steps canvas").first().waitFor();
        console.log(`first draw after ${Math.round(performance.now() - start)} ms`);
        await checkData(page, expected);
        await checkFigures(page, expected);
        await checkSteps(page, expected);
        await checkEnlarged(page, expected);
        await checkPairs(page, expected);
        await checkEveryPairIsDrawnOnPaper(page, expected);
        assert.deepEqual(complaints, []);
    } finally {
        await browser.close();
    }
}

const folder = mkdtempSync(join(tmpdir(), "qormath-report-"));
try {
    const report = join(folder, "report.html");
    const start = performance.now();
    const json = execFileSync(program, ["report", model, "-o", report, "--json", ...options], { maxBuffer: 1 << 28 });
    console.log(`report of ${statSync(report).size} bytes after ${Math.round(performance.now() - start)} ms`);
    await look(report, JSON.parse(json));
} finally {
    rmSync(folder, { recursive: true });
}
