// The live view of one Gateway: asks again and again, tells how it is, and listens to the keys and buttons.
// Not the place where statistics are shown (table.js) or reckoned (track.js).
// Nothing here comes from the protocol of the Gateways.
import {ask} from "./exporter.js";
import {Table} from "./table.js";
import {details, lasting, milliseconds, moment} from "./words.js";

const find = (id) => document.getElementById(id);
const target = document.body.dataset.target;
const path = `api/statistics?target=${encodeURIComponent(target)}`;
const table = new Table(find("statistics"));

let timer = 0;
let stop = new AbortController();
let paused = false;
let downSince = null;

function put(element, text) {
    if (element.textContent !== text) {
        element.textContent = text;
    }
}

// Spoken by screen readers, so that it changes only when the state does.
function tellState(state, words) {
    find("state").className = `state ${state}`;
    put(find("state"), state);
    put(find("details"), words);
    document.title = `${state === "up" ? "" : `${state}: `}${target} – zolstats-exporter`;
    find("statistics").classList.toggle("stale", state !== "up");
}

function tellDown(words) {
    downSince ??= performance.now();
    table.lose();
    tellState("down", words);
    const time = lasting((performance.now() - downSince) / 1000);
    const shown = table.count().all ? " What is shown was read before." : "";
    put(find("taken"), `Down for ${time}; tried again every ${find("interval").value} s.${shown}`);
}

function tellUp(scrape) {
    downSince = null;
    table.take(scrape);
    tellState("up", details(scrape));
    const {open, query, walk} = scrape.took;
    put(
        find("taken"),
        `Read at ${moment(scrape.time)}: open ${milliseconds(open)} ms, query ${milliseconds(query)} ms, ` +
            `walk ${milliseconds(walk)} ms`,
    );
}

// What is chosen stands in the address, so that it outlives a reload and can be passed on.
function remember() {
    const chosen = new URLSearchParams({filter: find("filter").value, interval: find("interval").value});
    history.replaceState(null, "", `#${chosen}`);
}
function recall() {
    const chosen = new URLSearchParams(location.hash.slice(1));
    find("filter").value = chosen.get("filter") ?? "";
    const interval = find("interval").querySelector(`[value="${CSS.escape(chosen.get("interval") ?? "")}"]`);
    if (interval) {
        interval.selected = true;
    }
}

function tellCount() {
    const {fitting, all} = table.filter(find("filter").value);
    put(find("shown"), `${fitting} of ${all}`);
    const unknown = all === 0 && find("state").textContent !== "up";
    find("nothing").hidden = fitting > 0 || unknown;
    put(find("nothing"), all === 0 ? "The Gateway has no statistics." : "No statistic fits the filter.");
}

function tell(answer) {
    const problem = answer.problem ?? (answer.failure && details(answer));
    if (problem) {
        tellDown(problem);
    } else {
        tellUp(answer);
    }
    tellCount();
}

async function look(signal) {
    const answer = await ask(path, signal).catch(({message}) => ({problem: message}));
    // Else it was ended by the pause, or because the page went out of sight.
    if (!signal.aborted) {
        tell(answer);
    }
}

// An answer that takes longer than the interval is waited for, so that no two are under way.
async function lookForEver(signal) {
    const start = performance.now();
    await look(signal);
    if (!signal.aborted) {
        const pauseMs = Number(find("interval").value) * 1000 - (performance.now() - start);
        timer = setTimeout(lookForEver, Math.max(0, pauseMs), signal);
    }
}

// A page that nobody sees asks for nothing.
function startOrStop() {
    stop.abort();
    clearTimeout(timer);
    if (paused || document.hidden) {
        table.lose();
    } else {
        stop = new AbortController();
        lookForEver(stop.signal);
    }
}

function pause() {
    paused = !paused;
    find("pause").ariaPressed = String(paused);
    put(find("pause"), paused ? "Go on" : "Pause");
    startOrStop();
}

function chooseFilter() {
    remember();
    tellCount();
}

function chooseInterval() {
    remember();
    startOrStop();
}

function press(event) {
    const typing = event.target.matches("input, select");
    if (event.key === "Escape" && event.target === find("filter")) {
        find("filter").value = "";
        chooseFilter();
    }
    if (typing || event.ctrlKey || event.altKey || event.metaKey) {
        return;
    }
    if (event.key === "/") {
        find("filter").focus();
        event.preventDefault();
    } else if (event.key === "p") {
        pause();
    }
}

find("controls").addEventListener("submit", (event) => event.preventDefault());
find("filter").addEventListener("input", chooseFilter);
find("interval").addEventListener("change", chooseInterval);
find("pause").addEventListener("click", pause);
find("fold").addEventListener("click", () => table.fold(true));
find("unfold").addEventListener("click", () => table.fold(false));
document.addEventListener("keydown", press);
document.addEventListener("visibilitychange", startOrStop);
recall();
startOrStop();
