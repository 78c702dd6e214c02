// What has become of a statistic while the page is open: its change per second, its restarts, and what a chart of it shows.
// Has no clock of its own and asks nobody: moments and values are given.
// Nothing here comes from the protocol of the Gateways.

export const LONGEST_S = 300;
// Readings that are kept. A reading a second is the most that the page offers.
const KEPT = LONGEST_S + 1;

// What has risen so often, and never fallen, is taken for a counter: any fall of it is a restart. What has risen less
// often must fall near to zero for that.
const RISES_OF_A_COUNTER = 3;
const NUMBER = /^[+-]?\d+(\.\d+)?([eE][+-]?\d+)?$/;
// Beyond this it is no count, and reckoning exactly with it would only take time.
const INTEGER = /^[+-]?\d{1,40}$/;

// NaN for what is no number, or too large for one.
export function numberOf(text) {
    const number = NUMBER.test(text) ? Number(text) : NaN;
    return Number.isFinite(number) ? number : NaN;
}

// Counters of 64 bits have more digits than a number of JavaScript.
function difference(newer, older) {
    return INTEGER.test(newer) && INTEGER.test(older)
        ? Number(BigInt(newer) - BigInt(older))
        : numberOf(newer) - numberOf(older);
}

// The moments of the readings, which all statistics of a Gateway share. A moment is that of a loss where nothing is
// known between the readings around it.
export class Moments {
    #times = new Float64Array(KEPT).fill(NaN);
    #count = 0;
    #lost = false;

    get latest() {
        return this.#count ? this.#times[this.slot] : -Infinity;
    }
    get slot() {
        return (this.#count - 1) % KEPT;
    }

    // Whether readings of this moment belong in: a scrape that others had asked for may come twice. `lost` tells whether
    // something lies between them and those before.
    begin(time) {
        if (!(time > this.latest)) {
            return null;
        }
        const taken = {lost: this.#lost};
        this.#lost = false;
        this.#add(time);
        return taken;
    }
    // One moment without readings is enough to interrupt a line.
    lose() {
        if (!this.#lost && this.#count) {
            this.#add(this.latest);
        }
        this.#lost = true;
        return this.#count > 0;
    }
    #add(time) {
        ++this.#count;
        this.#times[this.slot] = time;
    }

    // Slots and times of what a chart shows, the oldest first.
    *recent() {
        const least = Math.max(0, this.#count - KEPT);
        for (let one = least; one < this.#count; ++one) {
            const slot = one % KEPT;
            if (this.#times[slot] >= this.latest - LONGEST_S) {
                yield [slot, this.#times[slot]];
            }
        }
    }
}

// One statistic. Texts are its values as they came.
export class Track {
    #values = new Float64Array(KEPT).fill(NaN);
    #rates = new Float64Array(KEPT).fill(NaN);
    #text = "";
    #number = NaN;
    #time = NaN;
    #rises = 0;
    #risesSinceRestart = 0;
    #restarts = 0;
    #fell = false;

    // A moment without a reading.
    skip(slot) {
        this.#values[slot] = NaN;
        this.#rates[slot] = NaN;
    }
    // {perSecond, restarted}, or null where nothing can be told. Every moment of the Gateway is taken or skipped.
    take(slot, time, text, lost) {
        const number = numberOf(text);
        this.skip(slot);
        this.#values[slot] = number;
        const known = !Number.isNaN(number) && !Number.isNaN(this.#number);
        const change = known ? this.#compare(slot, time, text, number, lost) : null;
        this.#text = text;
        this.#number = number;
        this.#time = time;
        return change;
    }

    #compare(slot, time, text, number, lost) {
        const rise = difference(text, this.#text);
        if (lost && rise < 0) {
            return this.#fell ? null : this.#restart();
        }
        if (!lost && this.#isRestart(rise, number)) {
            ++this.#restarts;
            return this.#restart();
        }
        const perSecond = rise / (time - this.#time);
        if (!lost) {
            this.#learn(rise);
            this.#rates[slot] = perSecond;
        }
        return Number.isFinite(perSecond) ? {perSecond, restarted: false} : null;
    }
    // A counter that counts anew begins near zero; nearly everything else falls by less at some time. What jumps to zero and
    // back is no counter either.
    #isRestart(rise, number) {
        const isNearZero = number >= 0 && number <= this.#number / 2;
        return (
            rise < 0 &&
            !this.#fell &&
            (this.#risesSinceRestart >= RISES_OF_A_COUNTER ||
                (isNearZero && this.#rises > this.#restarts * RISES_OF_A_COUNTER))
        );
    }
    #restart() {
        this.#risesSinceRestart = 0;
        return {perSecond: 0, restarted: true};
    }
    // Nobody saw how it went across a loss, so that there is nothing to learn from that.
    #learn(rise) {
        this.#rises += rise > 0 ? 1 : 0;
        this.#risesSinceRestart += rise > 0 ? 1 : 0;
        this.#fell ||= rise < 0;
    }

    get isCounter() {
        return this.#rises > 0 && !this.#fell;
    }
    get isNumber() {
        return !Number.isNaN(this.#number);
    }
    // [time, number]: rates of what never fell but in a restart, values of anything else. NaN interrupts the line.
    points(moments) {
        const kept = this.isCounter ? this.#rates : this.#values;
        return Array.from(moments.recent(), ([slot, time]) => [time, kept[slot]]);
    }
}
