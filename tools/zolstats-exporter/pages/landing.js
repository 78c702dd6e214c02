// Keeps the table of Gateways as new as the exporter's own knowledge of them.
// Not what fills it at first: the page comes with its figures. No Gateway is asked for it.
// Nothing here comes from the protocol of the Gateways.
import {ask} from "./exporter.js";
import {details, lasting, milliseconds, moment} from "./words.js";

const EVERY_MS = 3000;
const STATES = {up: "up", down: "down", unasked: "not asked yet"};

const body = document.querySelector("#gateways tbody");
const template = document.querySelector("#row").content.querySelector("tr");
const rows = new Map(Array.from(body.rows, (row) => [row.dataset.name, row]));
const never = new AbortController().signal;

// The exporter's clock, as it ticks on since its last answer.
let clock = {time: 0, at: 0};
const now = () => clock.time + (performance.now() - clock.at) / 1000;

// Texts that stay as they are must not be touched: a selection in them would go, and screen readers would speak.
function put(element, text) {
    if (element.textContent !== text) {
        element.textContent = text;
    }
}

function newRow(name) {
    const row = template.cloneNode(true);
    row.dataset.name = name;
    row.querySelector("th a").textContent = name;
    for (const link of row.querySelectorAll("[data-link]")) {
        link.setAttribute("href", link.dataset.link + encodeURIComponent(name));
    }
    rows.set(name, row);
    return row;
}

function fieldsOf({state, last}) {
    if (!last) {
        return {state: STATES[state], details: "", open: "", query: "", walk: "", statistics: ""};
    }
    return {
        state: STATES[state],
        details: details(last),
        open: milliseconds(last.took.open),
        query: milliseconds(last.took.query),
        walk: milliseconds(last.took.walk),
        statistics: last.failure ? "" : String(last.statistics),
    };
}

function showAge(row) {
    const age = row.querySelector("[data-field=age]");
    if (row.dataset.time) {
        put(age, `${lasting(now() - Number(row.dataset.time))} ago`);
        age.title = moment(Number(row.dataset.time));
    } else {
        put(age, "");
    }
}

function show(row, gateway) {
    row.className = gateway.state;
    row.dataset.time = gateway.last ? gateway.last.time : "";
    for (const [name, text] of Object.entries(fieldsOf(gateway))) {
        put(row.querySelector(`[data-field=${name}]`), text);
    }
    showAge(row);
}

function summaryOf(gateways) {
    const count = (state) => gateways.filter((gateway) => gateway.state === state).length;
    return (
        `${gateways.length} Gateway${gateways.length === 1 ? "" : "s"}: ${count("up")} up, ` +
        `${count("down")} down, ${count("unasked")} not asked yet`
    );
}

function dropOthers(names) {
    for (const [name, row] of rows) {
        if (!names.has(name)) {
            row.remove();
            rows.delete(name);
        }
    }
}

function take({time, gateways}) {
    clock = {time, at: performance.now()};
    dropOthers(new Set(gateways.map((gateway) => gateway.name)));
    gateways.forEach((gateway, place) => {
        const row = rows.get(gateway.name) ?? newRow(gateway.name);
        if (body.rows[place] !== row) {
            body.insertBefore(row, body.rows[place] ?? null);
        }
        show(row, gateway);
    });
    put(document.querySelector("#summary"), summaryOf(gateways));
}

function tell(problem) {
    const line = document.querySelector("#problem");
    line.hidden = problem === "";
    put(line, problem);
}

async function refresh() {
    try {
        take(await ask("api/gateways", never));
        tell("");
    } catch (problem) {
        tell(`This is how it was: ${problem.message}.`);
    }
}

// A page that nobody sees asks for nothing.
async function refreshForEver() {
    if (!document.hidden) {
        await refresh();
    }
    setTimeout(refreshForEver, EVERY_MS);
}

refreshForEver();
setInterval(() => rows.forEach(showAge), 1000);
