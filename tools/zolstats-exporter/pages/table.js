// The table of the live view: a body for each group, a row for each statistic, a filter, folds.
// Not the place where it is decided when there is something new. Only rows that are in sight are touched.
// Nothing here comes from the protocol of the Gateways.
import {draw, newChart} from "./chart.js";
import {Moments, Track} from "./track.js";
import {bounded, change} from "./words.js";

// So far beyond the window's edge rows are kept ready for whoever scrolls.
const READY = "300px";

function element(name, properties = {}, ...children) {
    const made = Object.assign(document.createElement(name), properties);
    made.append(...children);
    return made;
}

class Row {
    inSight = false;
    track = new Track();
    text = null; // null until there is a reading
    change = null;
    #shownText = null;
    #hadChart = false;

    constructor(group, id) {
        this.sought = `${group}\n${id}`.toLowerCase();
        this.value = element("td", {className: "value"});
        this.changeCell = element("td", {className: "change number"});
        this.chart = element("td", {className: "chart"});
        const name = element("th", {className: "id", scope: "row", textContent: id});
        this.element = element("tr", {}, name, this.value, this.changeCell, this.chart);
    }

    take(slot, time, text, lost) {
        this.change = this.track.take(slot, time, text, lost);
        this.text = text;
    }
    show(moments) {
        if (this.text !== this.#shownText) {
            this.#shownText = this.text;
            this.value.textContent = bounded(this.text);
            this.value.classList.toggle("number", this.track.isNumber);
        }
        const words = change(this.change);
        if (this.changeCell.textContent !== words) {
            this.changeCell.textContent = words;
            this.changeCell.classList.toggle("restart", words === "restart");
        }
        this.#showChart(moments);
    }
    #showChart(moments) {
        if (this.track.isNumber && !this.#hadChart) {
            this.chart.append(newChart());
            this.#hadChart = true;
        }
        if (this.#hadChart) {
            this.chart.title = draw(this.chart.firstChild, this.track, moments);
        }
    }
    fits(filter) {
        const fits = this.sought.includes(filter);
        this.element.hidden = !fits;
        return fits;
    }
}

class Group {
    rows = new Map();

    constructor(name) {
        this.button = element("button", {type: "button", onclick: () => this.fold(this.isOpen)});
        this.count = element("span", {className: "count"});
        this.button.append(element("span", {className: "name", textContent: name}), " ", this.count);
        const heading = element("th", {scope: "rowgroup", colSpan: 4}, this.button);
        this.element = element("tbody", {}, element("tr", {className: "heading"}, heading));
        this.name = name;
        this.fold(false);
    }

    get isOpen() {
        return this.button.ariaExpanded === "true";
    }
    fold(folded) {
        this.button.ariaExpanded = String(!folded);
        this.element.classList.toggle("folded", folded);
    }
    // Gives how many rows fit.
    filter(text) {
        let fitting = 0;
        for (const row of this.rows.values()) {
            fitting += row.fits(text) ? 1 : 0;
        }
        this.element.hidden = fitting === 0;
        this.count.textContent = fitting === this.rows.size ? `${fitting}` : `${fitting} of ${this.rows.size}`;
        return fitting;
    }
}

// Puts elements into this order, moving only those that do not stand in it.
function arrange(parent, first, elements) {
    let place = first;
    for (const one of elements) {
        if (place === one) {
            place = place.nextElementSibling;
        } else {
            parent.insertBefore(one, place);
        }
    }
}

export class Table {
    #groups = new Map();
    #moments = new Moments();
    #rowOf = new WeakMap();
    #sight;
    #filter = "";

    constructor(table) {
        this.table = table;
        this.#sight = new IntersectionObserver((changes) => this.#see(changes), {rootMargin: READY});
    }

    // Readings of one scrape, in the Gateway's order. The same scrape again changes nothing.
    take({time, groups, statistics}) {
        if (time < this.#moments.latest) {
            this.clear(); // the exporter's clock was set back: what was known belongs to another time
        }
        const taken = this.#moments.begin(time);
        if (taken === null) {
            return;
        }
        const texts = this.#sorted(groups, statistics);
        this.#fitRows(texts);
        for (const [group, ids] of texts) {
            for (const [id, row] of this.#groups.get(group).rows) {
                row.take(this.#moments.slot, time, ids.get(id), taken.lost);
            }
        }
        this.#show();
    }
    // Nothing is known until the next reading.
    lose() {
        if (this.#moments.lose()) {
            for (const row of this.#rows()) {
                row.track.skip(this.#moments.slot);
            }
        }
    }
    clear() {
        this.#groups.forEach((group) => group.element.remove());
        this.#groups.clear();
        this.#moments = new Moments();
    }

    // Gives how many statistics fit, and of how many.
    filter(text) {
        this.#filter = text.trim().toLowerCase();
        this.table.classList.toggle("filtered", this.#filter !== "");
        return this.count();
    }
    count() {
        let fitting = 0;
        let all = 0;
        for (const group of this.#groups.values()) {
            fitting += group.filter(this.#filter);
            all += group.rows.size;
        }
        return {fitting, all};
    }
    fold(folded) {
        this.#groups.forEach((group) => group.fold(folded));
    }

    *#rows() {
        for (const group of this.#groups.values()) {
            yield* group.rows.values();
        }
    }
    // Values by group and id. What comes twice in one scrape counts once.
    #sorted(groups, statistics) {
        const texts = new Map(groups.map((group) => [group, new Map()]));
        for (const {group, id, value} of statistics) {
            const ids = texts.get(group);
            if (!ids.has(id)) {
                ids.set(id, value);
            }
        }
        return texts;
    }
    // Rows for all that there is, and for nothing else.
    #fitRows(texts) {
        let changed = false;
        for (const [name, group] of this.#groups) {
            changed = this.#dropOthers(name, group, texts.get(name)) || changed;
        }
        for (const [name, ids] of texts) {
            changed = this.#addMissing(name, ids) || changed;
        }
        if (changed) {
            this.#arrangeAll(texts);
        }
    }
    #dropOthers(name, group, ids) {
        let dropped = false;
        for (const [id, row] of group.rows) {
            if (!ids?.has(id)) {
                this.#sight.unobserve(row.element);
                row.element.remove();
                dropped = group.rows.delete(id);
            }
        }
        if (!ids) {
            group.element.remove();
            this.#groups.delete(name);
        }
        return dropped;
    }
    #addMissing(name, ids) {
        let added = false;
        if (!this.#groups.has(name)) {
            this.#groups.set(name, new Group(name));
            added = true;
        }
        const group = this.#groups.get(name);
        for (const id of ids.keys()) {
            if (!group.rows.has(id)) {
                this.#addRow(group, id);
                added = true;
            }
        }
        return added;
    }
    #addRow(group, id) {
        const row = new Row(group.name, id);
        group.rows.set(id, row);
        this.#rowOf.set(row.element, row);
        this.#sight.observe(row.element);
    }
    #arrangeAll(texts) {
        const names = Array.from(texts.keys());
        arrange(this.table, this.table.tHead.nextElementSibling, names.map((name) => this.#groups.get(name).element));
        for (const [name, ids] of texts) {
            const {element: body, rows} = this.#groups.get(name);
            arrange(body, body.rows[0].nextElementSibling, Array.from(ids.keys(), (id) => rows.get(id).element));
        }
        this.count();
    }
    #show() {
        for (const row of this.#rows()) {
            if (row.inSight) {
                row.show(this.#moments);
            }
        }
    }
    #see(changes) {
        for (const {target, isIntersecting} of changes) {
            const row = this.#rowOf.get(target);
            row.inSight = isIntersecting;
            if (isIntersecting && row.text !== null) {
                row.show(this.#moments);
            }
        }
    }
}
