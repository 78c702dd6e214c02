// Figures as people read them.
// Not the place where they go into the page, and not where they are reckoned.
// Nothing here comes from the protocol of the Gateways.

const MINUTE = 60;
const HOUR = 60 * MINUTE;
const LONGEST_TEXT = 300; // of a value; whoever needs more has the metrics

export function lasting(seconds) {
    const time = Math.max(0, seconds);
    if (time < 2 * MINUTE) {
        return `${time.toFixed(0)} s`;
    }
    return time < 2 * HOUR ? `${(time / MINUTE).toFixed(0)} min` : `${(time / HOUR).toFixed(0)} h`;
}

export function milliseconds(seconds) {
    return (seconds * 1000).toFixed(1);
}

// As the exporter writes it into the page.
export function moment(seconds) {
    return new Date(seconds * 1000).toISOString().replace("T", " ").replace(/\..*/, " UTC");
}

// What went wrong as a whole, or else in part.
export function details(scrape) {
    if (scrape.failure) {
        return `${scrape.failure.reason}: ${scrape.failure.text}`;
    }
    return scrape.rejected_groups.length ? `has no group ${scrape.rejected_groups.join(", ")}` : "";
}

// Four digits that count, and all those before the point.
export function figure(number) {
    const size = Math.abs(number);
    if (size !== 0 && (size < 1e-4 || size >= 1e15)) {
        return number.toExponential(2);
    }
    const decimals = size === 0 ? 0 : Math.max(0, 3 - Math.floor(Math.log10(size)));
    return String(Number(number.toFixed(Math.min(decimals, 8))));
}

export function change(one) {
    if (one === null) {
        return "";
    }
    if (one.restarted) {
        return "restart";
    }
    return (one.perSecond > 0 ? "+" : "") + figure(one.perSecond).replace("-", "\u2212");
}

export function bounded(text) {
    return text.length <= LONGEST_TEXT ? text : `${text.slice(0, LONGEST_TEXT)}… (${text.length} characters)`;
}
