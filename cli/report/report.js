// Fills the page from the data in it. What comes from files, such as names, goes in as text and never as markup.

"use strict";

const data = JSON.parse(document.getElementById("data").textContent);
const inputCount = data.inputNames.length;
const outputCount = data.outputNames.length;

// ---------------------------------------------------------------- small helpers

const byId = (id) => document.getElementById(id);

function make(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

function format(value, digits = 4) {
    if (value === null || value === undefined) {
        return "–";
    }
    const size = Math.abs(value);
    const isPlain = size === 0 || (size >= 1e-3 && size < 1e6);
    return isPlain ? String(Number(value.toPrecision(digits))) : value.toExponential(digits - 1);
}

const percent = (value) => (value === null ? "–" : `${format(value, 3)} %`);
const counted = (count, thing) => `${count} ${thing}${count === 1 ? "" : "s"}`;
const nameOf = (pair) => `${data.outputNames[pair.output]} from ${data.inputNames[pair.input]}`;

function colour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

// ---------------------------------------------------------------- what is said in words

const choices = {
    curveTolerance: `the smallest within ${format(data.tolerancePercent)} %`,
    number: "by number",
    coarse: "coarse",
    middle: "middle",
    fine: "fine",
};

function largest(error, unit) {
    return error === null ? "none" : `${format(error.value, 3)}${unit} (${error.output} from ${error.input})`;
}

function writeHeader() {
    const file = data.model.split("/").pop();
    document.title = `${file}: reduction`;
    byId("title").textContent = `${file}: from ${data.statesRealised} to ${counted(data.orderReached, "state")}`;
    byId("summary").textContent =
        `${counted(inputCount, "input")}, ${counted(outputCount, "output")}, ` +
        `${data.coefficients} coefficients, sample time ${format(data.sampleTime, 6)} s. ` +
        `Order asked for: ${data.orderAsked} (${choices[data.orderChoice]}); reached: ${data.orderReached}, ` +
        `${data.gainStates} of which restore gains; ${counted(data.rampStates, "ramp")}. ` +
        `Largest curve error ${largest(data.largestCurveErrorPercent, " %")}; ` +
        `largest gain error ${largest(data.largestGainError, "")}` +
        (data.largestRampRateError ? `; largest ramp rate error ${largest(data.largestRampRateError, "")}.` : ".");
    const warnings = [...data.warnings];
    if (data.isWithinTolerance === false) {
        const tolerance = format(data.tolerancePercent);
        warnings.push(`No order keeps every curve within ${tolerance} %; this is the closest model.`);
    }
    byId("warnings").append(...warnings.map((text) => make("li", {}, text)));
    byId("footer").textContent = `QorMath ${data.version}`;
}

function fillTable(table, titles, rows) {
    const head = titles.map((title) => make("th", { scope: "col", class: "number" }, title));
    const cellOf = (value) => make("td", { class: "number" }, format(value, 6));
    const body = rows.map((row) => make("tr", {}, ...row.map(cellOf)));
    table.replaceChildren(make("thead", {}, make("tr", {}, ...head)), make("tbody", {}, ...body));
}

// ---------------------------------------------------------------- charts in general

const font = "12px system-ui, -apple-system, 'Segoe UI', Roboto, Arial, sans-serif";
const leftAxis = 62;
const bottomAxis = 48;

function axis(label, options = {}) {
    const grid = { stroke: colour("grid"), width: 1 };
    return { label, font, labelFont: font, stroke: colour("ink"), grid, ticks: grid, labelSize: 18, ...options };
}

const axisBelow = (label, options) => axis(label, { size: bottomAxis - 18, ...options });
const axisLeft = (label, options) => axis(label, { size: leftAxis - 18, ...options });

function markers(size) {
    return { show: true, size, width: 1.5, fill: colour("paper") };
}

function line(label, name, options = {}) {
    return { label, stroke: colour(name), width: 2, points: { show: false }, value: (u, y) => format(y), ...options };
}

function decades(u, low, high) {
    return [10 ** Math.floor(Math.log10(low)), 10 ** Math.ceil(Math.log10(high) + 1e-9)];
}

const logarithmic = { distr: 3, log: 10, range: decades };

// The values of an axis that is logarithmic: the decades alone.
const decadesOnly = (u, splits) =>
    splits.map((value) => {
        const power = Math.log10(value);
        const isDecade = Math.abs(power - Math.round(power)) < 1e-6;
        return isDecade ? (Math.abs(power) < 2.5 ? format(value, 1) : `1e${Math.round(power)}`) : null;
    });

// The charts that stand: what draws each, so that it can be drawn again in other colours or another size.
const charts = new Map();

function draw(holder, build) {
    charts.get(holder)?.chart?.destroy();
    charts.set(holder, { build, chart: build(holder) });
}

function redraw(isWanted = () => true) {
    for (const [holder, { build }] of [...charts]) {
        if (isWanted(holder)) {
            draw(holder, build);
        }
    }
}

// Widths on an A4 page; on the screen a chart takes what there is.
const printedWidths = { "order-errors": 391, hankel: 335, poles: 279 };

function widthOf(holder) {
    const isPaper = document.documentElement.classList.contains("paper");
    return (isPaper && printedWidths[holder.parentElement.id]) || Math.max(200, holder.clientWidth);
}

// ---------------------------------------------------------------- the order

// Lines that mark orders, with their names on axes of their own on top, so that the names do not meet; two names at
// most on one, for which there is room.
function markAxes(marks, low, high) {
    const orders = [...new Set(Object.values(marks))].filter((order) => order !== null).sort((a, b) => a - b);
    return orders.flatMap((order) => {
        const names = Object.keys(marks).filter((name) => marks[name] === order);
        const labels = [];
        for (let k = 0; k < names.length; k += 2) {
            labels.push(`${names.slice(k, k + 2).join(", ")}: ${order}`);
        }
        return labels.map((label) => markAxis(order, label, order < (low + high) / 2));
    });
}

function markAxis(order, label, isLeft) {
    return axis(null, {
        scale: "x",
        side: 0,
        align: isLeft ? 1 : 2,
        splits: () => [order],
        values: () => [label],
        stroke: colour("mark"),
        grid: { stroke: colour("mark"), width: 1, dash: [3, 3] },
        ticks: { show: false },
        size: 16,
        gap: 2,
        labelSize: 0,
    });
}

function ordersMarked(offset) {
    const names = { ...data.orders, tolerance: undefined };
    names[`within ${format(data.tolerancePercent)} %`] = data.orders.tolerance;
    delete names.tolerance;
    return Object.fromEntries(
        Object.entries(names).map(([name, order]) => [name, order === null ? null : Math.max(0, order - offset)]));
}

// What is 0, or rounding, has no place on a logarithmic axis.
function positive(values) {
    const floor = 1e-12 * Math.max(...values);
    return values.map((value) => (value > 0 && value >= floor ? value : null));
}

function drawOrderErrors() {
    const orders = data.orderErrors.map((point) => point.order);
    const errors = data.orderErrors.map((point) => point.curveErrorPercent);
    fillTable(byId("order-errors").querySelector("table"), ["Order", "Largest curve error, %"],
        data.orderErrors.map((point) => [point.order, point.curveErrorPercent]));
    const holder = byId("order-errors").querySelector(".chart");
    holder.setAttribute("role", "img");
    holder.setAttribute("aria-label",
        `Largest curve error against order, falling from ${percent(errors[0])} at order ${orders[0]} to ` +
        `${percent(errors.at(-1))} at order ${orders.at(-1)}. ` +
        Object.entries(ordersMarked(0)).map(([name, order]) => `${name}: ${order ?? "none"}`).join(", "));
    draw(holder, () => new uPlot({
        width: widthOf(holder),
        height: 360,
        scales: { x: { time: false, range: (u, low, high) => [low - 0.5, high + 0.5] }, y: logarithmic },
        axes: [
            axisBelow("order", { incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500] }),
            axisLeft("largest curve error, %", { values: decadesOnly }),
            ...markAxes(ordersMarked(0), orders[0], orders.at(-1)),
        ],
        series: [
            { label: "order" },
            line("error, %", "original", { points: markers(6) }),
            line("tolerance, %", "faint", { dash: [6, 4], width: 1.5 }),
        ],
    }, [orders, positive(errors), orders.map(() => data.tolerancePercent)], holder));
}

function drawHankel() {
    const values = data.hankelSingularValues;
    const numbers = values.map((value, k) => k + 1);
    fillTable(byId("hankel").querySelector("table"), ["Number", "Hankel singular value"],
        values.map((value, k) => [k + 1, value]));
    const holder = byId("hankel").querySelector(".chart");
    if (values.length === 0) {
        holder.textContent = "The stable part has none.";
        return;
    }
    holder.setAttribute("role", "img");
    holder.setAttribute("aria-label",
        `${counted(values.length, "Hankel singular value")}, ` +
        `the largest ${format(values[0])}, the smallest ${format(values.at(-1))}`);
    draw(holder, () => new uPlot({
        width: widthOf(holder),
        height: 360,
        scales: { x: { time: false, range: (u, low, high) => [low - 0.5, high + 0.5] }, y: logarithmic },
        axes: [
            axisBelow("number", { incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500] }),
            axisLeft("Hankel singular value", { values: decadesOnly }),
            ...markAxes(ordersMarked(data.rampStates), 1, values.length),
        ],
        series: [
            { label: "number" },
            line("value", "original", { paths: () => null, points: markers(6) }),
        ],
    }, [numbers, positive(values)], holder));
}

function drawPoles() {
    const poles = data.poles;
    fillTable(byId("poles").querySelector("table"), ["Real part", "Imaginary part", "Modulus"],
        poles.map((pole) => [pole.re, pole.im, pole.magnitude]));
    const steps = 180;
    const circle = Array.from({ length: steps + 1 }, (unused, k) => -Math.cos((Math.PI * k) / steps));
    const rows = [
        ...circle.map((x) => [x, Math.sqrt(Math.max(0, 1 - x * x)), -Math.sqrt(Math.max(0, 1 - x * x)), null]),
        ...poles.map((pole) => [pole.re, null, null, pole.im]),
    ].sort((one, other) => one[0] - other[0]);
    const columns = [0, 1, 2, 3].map((k) => rows.map((row) => row[k]));
    const reach = 1.1 * Math.max(1, ...poles.map((pole) => pole.magnitude));
    const range = () => [-reach, reach];
    const holder = byId("poles").querySelector(".chart");
    holder.setAttribute("role", "img");
    holder.setAttribute("aria-label",
        `${counted(poles.length, "pole")} of the reduced model and the unit circle` +
        (poles.length > 0 ? `; the largest modulus is ${format(poles[0].magnitude, 6)}` : ""));
    const circleLine = { stroke: colour("faint"), width: 1, spanGaps: true };
    draw(holder, () => new uPlot({
        width: widthOf(holder),
        height: widthOf(holder) - leftAxis + bottomAxis,
        padding: [8, 8, 0, 0],
        legend: { show: false },
        cursor: { show: false },
        scales: { x: { time: false, range }, y: { range } },
        axes: [axisBelow("real part"), axisLeft("imaginary part")],
        series: [
            {},
            line("unit circle", "faint", circleLine),
            line("unit circle", "faint", circleLine),
            line("pole", "reduced", { paths: () => null, points: markers(8) }),
        ],
    }, columns, holder));
}

// ---------------------------------------------------------------- step responses

const units = [["s", 1], ["min", 60], ["h", 3600]];
const horizon = data.sampleTime * data.coefficients;
const [timeUnit, secondsOfUnit] = units.find(([, seconds]) => horizon <= 300 * seconds) ?? units[2];
const time = Array.from({ length: data.coefficients + 1 }, (unused, k) => (k * data.sampleTime) / secondsOfUnit);
const none = time.map(() => null);

function curvesOf(pair) {
    return [time, pair.curve ?? none, pair.reducedCurve ?? none];
}

// The smallest range that holds the curves of the pairs and 0, with some air.
function rangeOf(pairs) {
    let low = 0;
    let high = 0;
    for (const pair of pairs) {
        for (const value of [...(pair.curve ?? []), ...(pair.reducedCurve ?? [])]) {
            low = Math.min(low, value);
            high = Math.max(high, value);
        }
    }
    const air = 0.06 * (high - low) || 1;
    return [low - air, high + air];
}

const outputRanges = data.outputNames.map((unused, j) =>
    rangeOf(data.pairs.slice(j * inputCount, (j + 1) * inputCount)));

function curveSeries() {
    return [
        { label: `time, ${timeUnit}` },
        line("original", "original"),
        line("reduced", "reduced", { dash: [6, 4] }),
    ];
}

// The charts of a small plant may be larger, as long as the matrix fits.
const widthOfHeadings = 220;
const smallest = 124;
const widest = 220;
const room = (document.body.clientWidth - widthOfHeadings) / inputCount - 8;
const cell = { width: Math.min(widest, Math.max(smallest, room)) };
cell.height = Math.round(0.62 * cell.width);

function drawSmall(button) {
    const pair = data.pairs[button.dataset.pair];
    draw(button, () => {
        const range = byId("own-scale").checked ? rangeOf([pair]) : outputRanges[pair.output];
        const zero = { stroke: colour("line"), width: 1 };
        const bare = { size: 0, gap: 0, values: () => [], ticks: { show: false } };
        return new uPlot({
            width: cell.width,
            height: cell.height,
            padding: [2, 2, 2, 2],
            legend: { show: false },
            cursor: { show: false },
            scales: { x: { time: false }, y: { range } },
            axes: [{ show: false }, { ...bare, grid: zero, splits: () => [0] }],
            series: curveSeries(),
        }, curvesOf(pair), button);
    });
}

function spoken(pair) {
    return `${nameOf(pair)}: ` + (pair.curve === null && pair.reducedCurve === null
        ? "no curve"
        : `gain ${format(pair.gain)}, reduced ${format(pair.reducedGain)}, ` +
          `curve error ${percent(pair.curveErrorPercent)}`);
}

function stepCell(pair, index) {
    const button = make("button", { type: "button", tabindex: "-1", "data-pair": index, "aria-label": spoken(pair) });
    if (pair.curve === null && pair.reducedCurve === null) {
        button.append(make("span", { class: "blank" }, "no curve"));
    } else {
        const isOver = pair.curveErrorPercent > data.tolerancePercent;
        button.append(make("span", { class: isOver ? "error over" : "error" }, percent(pair.curveErrorPercent)));
    }
    return make("td", {}, button);
}

function heading(scope, name, descriptor, isRamp) {
    const notes = [descriptor === name ? "" : descriptor, isRamp ? "ramp" : ""].filter((note) => note.trim() !== "");
    return make("th", { scope }, name, ...notes.map((note) => make("small", {}, note)));
}

const cellOf = (index) => byId("steps").querySelector(`button[data-pair="${index}"]`);

// One cell of the matrix is reached by the tabulator, the others from there by the arrow keys.
function focusCell(index) {
    for (const button of byId("steps").querySelectorAll('button[tabindex="0"]')) {
        button.tabIndex = -1;
    }
    const button = cellOf(index);
    button.tabIndex = 0;
    button.focus();
}

// The pair beside another in the direction of a key; the same one at the border, nothing for another key.
function neighbour(index, key) {
    const output = Math.floor(index / inputCount);
    const input = index % inputCount;
    const [down, right] = { ArrowUp: [-1, 0], ArrowDown: [1, 0], ArrowLeft: [0, -1], ArrowRight: [0, 1] }[key] ?? [];
    if (down === undefined) {
        return undefined;
    }
    const clamp = (value, count) => Math.min(count - 1, Math.max(0, value));
    return clamp(output + down, outputCount) * inputCount + clamp(input + right, inputCount);
}

// Charts are drawn as they come into sight: a thousand of them at once would take seconds.
const sight = new IntersectionObserver((entries) => {
    for (const entry of entries) {
        if (entry.isIntersecting) {
            sight.unobserve(entry.target);
            drawSmall(entry.target);
        }
    }
}, { rootMargin: "300px" });

const waitingCells = () =>
    [...byId("steps").querySelectorAll("button:not(:has(.blank))")].filter((button) => !charts.has(button));

function buildSteps() {
    const table = byId("steps");
    table.style.setProperty("--cell-width", `${cell.width}px`);
    table.style.setProperty("--cell-height", `${cell.height}px`);
    const head = data.inputNames.map((name, i) => heading("col", name, data.inputDescriptors[i] ?? "", false));
    const body = data.outputNames.map((name, j) => {
        const cells = data.inputNames.map((unused, i) => {
            const index = j * inputCount + i;
            return stepCell(data.pairs[index], index);
        });
        return make("tr", {}, heading("row", name, data.outputDescriptors[j] ?? "", data.rampFlags[j]), ...cells);
    });
    table.append(make("thead", {}, make("tr", {}, make("td"), ...head)), make("tbody", {}, ...body));
    cellOf(0).tabIndex = 0;
    table.addEventListener("click", (event) => {
        const button = event.target.closest("button");
        if (button) {
            enlarge(Number(button.dataset.pair), true);
        }
    });
    table.addEventListener("keydown", (event) => {
        const next = event.target.dataset.pair && neighbour(Number(event.target.dataset.pair), event.key);
        if (next !== undefined) {
            event.preventDefault();
            focusCell(next);
        }
    });
    byId("own-scale").addEventListener("change", () => redraw((holder) => table.contains(holder)));
    waitingCells().forEach((cell) => sight.observe(cell));
}

// ---------------------------------------------------------------- a pair enlarged

const dialog = byId("enlarged");
let shown = 0;
let isOfMatrix = false;

function showPair(index) {
    shown = index;
    const pair = data.pairs[index];
    byId("enlarged-title").textContent = nameOf(pair);
    byId("enlarged-facts").textContent =
        `Gain ${format(pair.gain, 6)}, reduced ${format(pair.reducedGain, 6)}` +
        (data.rampFlags[pair.output] ? " (rise in a sample)" : "") +
        `; gain error ${percent(pair.gainErrorPercent)}, curve error ${percent(pair.curveErrorPercent)}.`;
    const holder = dialog.querySelector(".chart");
    holder.setAttribute("aria-label", spoken(pair));
    draw(holder, () => new uPlot({
        width: widthOf(holder),
        height: Math.max(240, Math.min(480, window.innerHeight - 260)),
        scales: { x: { time: false }, y: { range: rangeOf([pair]) } },
        axes: [axisBelow(`time, ${timeUnit}`), axisLeft(data.outputNames[pair.output], { size: leftAxis })],
        series: curveSeries(),
    }, curvesOf(pair), holder));
}

function enlarge(index, isFromMatrix) {
    isOfMatrix = isFromMatrix;
    if (!dialog.open) {
        dialog.showModal();
    }
    showPair(index);
}

function step(by) {
    showPair((shown + by + data.pairs.length) % data.pairs.length);
}

function prepareDialog() {
    byId("previous").addEventListener("click", () => step(-1));
    byId("next").addEventListener("click", () => step(1));
    byId("close").addEventListener("click", () => dialog.close());
    dialog.addEventListener("click", (event) => {
        if (event.target === dialog) {
            dialog.close();  // beside what the dialog shows
        }
    });
    dialog.addEventListener("keydown", (event) => {
        const next = neighbour(shown, event.key);
        if (next !== undefined) {
            event.preventDefault();
            showPair(next);
        }
    });
    dialog.addEventListener("close", () => {
        charts.get(dialog.querySelector(".chart"))?.chart.destroy();
        charts.delete(dialog.querySelector(".chart"));
        if (isOfMatrix) {
            focusCell(shown);  // which need not be the one that was enlarged first
        }
    });
}

// ---------------------------------------------------------------- gains and errors

const columns = [
    { title: "Output", value: (pair) => data.outputNames[pair.output] },
    { title: "Input", value: (pair) => data.inputNames[pair.input] },
    { title: "Gain", value: (pair) => pair.gain, digits: 6 },
    { title: "Reduced gain", value: (pair) => pair.reducedGain, digits: 6 },
    { title: "Gain error, %", value: (pair) => pair.gainErrorPercent, digits: 3 },
    { title: "Curve error, %", value: (pair) => pair.curveErrorPercent, digits: 3 },
];

function pairRow(pair, index) {
    const cells = columns.map(({ value, digits }) => (digits
        ? make("td", { class: "number" }, format(value(pair), digits))
        : make("td", {}, value(pair))));
    const show = make("button", { type: "button", "aria-label": `Enlarge ${nameOf(pair)}` }, "Enlarge");
    show.addEventListener("click", () => enlarge(index, false));
    return make("tr", { "data-pair": index }, ...cells, make("td", {}, show));
}

// What has no value comes last, whichever way the others go.
function compare(one, other, sign) {
    if (one === null || other === null) {
        return (one === null ? 1 : 0) - (other === null ? 1 : 0);
    }
    return sign * (typeof one === "string" ? one.localeCompare(other, undefined, { numeric: true }) : one - other);
}

function sortBy(column, headings, body) {
    const heading = headings[column];
    const isRising = heading.getAttribute("aria-sort") !== "ascending";
    headings.forEach((other) => other.removeAttribute("aria-sort"));
    heading.setAttribute("aria-sort", isRising ? "ascending" : "descending");
    const value = (row) => columns[column].value(data.pairs[row.dataset.pair]);
    body.append(...[...body.rows].sort((one, other) => compare(value(one), value(other), isRising ? 1 : -1)));
}

function buildPairs() {
    byId("pairs-note").textContent =
        "Gain errors are in percent of the output's largest coefficient, or, on a ramp, of its largest rise in a " +
        "sample; curve errors of the output's largest coefficient. A heading sorts.";
    const body = make("tbody", {}, ...data.pairs.map(pairRow));
    const headings = columns.map(({ title, digits }) =>
        make("th", { scope: "col", class: digits ? "number" : "" }, make("button", { type: "button" }, title)));
    headings.forEach((heading, k) => heading.addEventListener("click", () => sortBy(k, headings, body)));
    byId("pairs").append(make("thead", {}, make("tr", {}, ...headings, make("th"))), body);
}

// ---------------------------------------------------------------- colours, sizes, paper

function prepareRedrawing() {
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => redraw());
    let waiting = 0;
    window.addEventListener("resize", () => {
        cancelAnimationFrame(waiting);
        waiting = requestAnimationFrame(() => redraw((holder) => holder.matches(".chart")));
    });
    // Paper is light, and shows every chart.
    window.addEventListener("beforeprint", () => {
        document.documentElement.classList.add("paper");
        redraw();
        waitingCells().forEach(drawSmall);
    });
    window.addEventListener("afterprint", () => {
        document.documentElement.classList.remove("paper");
        redraw();
    });
}

writeHeader();
drawOrderErrors();
drawHankel();
drawPoles();
buildSteps();
buildPairs();
prepareDialog();
prepareRedrawing();
