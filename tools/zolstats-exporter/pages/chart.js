// A small chart: points into the path of a line.
// Not the place where points are kept (track.js).
// Nothing here comes from the protocol of the Gateways.
import {LONGEST_S} from "./track.js";
import {figure} from "./words.js";

// In the units of the picture, which is stretched to the width of its cell.
const WIDTH = 100;
const HEIGHT = 20;
const MARGIN = 1.5; // for the width of the line
const SHORTEST_S = 60; // else two points would fill the chart
const SVG = "http://www.w3.org/2000/svg";

function rangeOf(points, fromZero) {
    let low = fromZero ? 0 : Infinity;
    let high = fromZero ? 0 : -Infinity;
    for (const [, number] of points) {
        low = number < low ? number : low;
        high = number > high ? number : high;
    }
    return {low, high};
}

const placed = (number) => number.toFixed(1);

function pathOf(points, {low, high}) {
    const first = points[0][0];
    const last = points[points.length - 1][0];
    const seconds = Math.min(LONGEST_S, Math.max(SHORTEST_S, last - first));
    const across = (time) => placed(WIDTH - ((last - time) / seconds) * WIDTH);
    // What stays the same lies at the bottom if it is nothing, else in the middle.
    const span = high - low;
    const part = (number) => (span > 0 ? (number - low) / span : number === 0 ? 0 : 0.5);
    const down = (number) => placed(HEIGHT - MARGIN - part(number) * (HEIGHT - 2 * MARGIN));
    let path = "";
    let pen = "M";
    for (const [time, number] of points) {
        if (Number.isNaN(number)) {
            pen = "M";
            continue;
        }
        // A point without neighbours shows as a dot.
        path += `${pen}${across(time)} ${down(number)}${pen === "M" ? "h0" : ""}`;
        pen = "L";
    }
    return path;
}

export function newChart() {
    const picture = document.createElementNS(SVG, "svg");
    picture.setAttribute("viewBox", `0 0 ${WIDTH} ${HEIGHT}`);
    picture.setAttribute("preserveAspectRatio", "none");
    picture.setAttribute("aria-hidden", "true");
    picture.append(document.createElementNS(SVG, "path"));
    return picture;
}

// Gives what the chart shows, in words.
export function draw(picture, track, moments) {
    const points = track.points(moments);
    const range = rangeOf(points, track.isCounter);
    const known = range.low <= range.high && points.some(([, number]) => !Number.isNaN(number));
    picture.firstChild.setAttribute("d", known ? pathOf(points, range) : "");
    return known ? `${figure(range.low)} to ${figure(range.high)}${track.isCounter ? " per second" : ""}` : "";
}
