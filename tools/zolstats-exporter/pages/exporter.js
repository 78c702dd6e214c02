// Asks the exporter for its JSON documents.
// Not the place where they are shown, nor where it is decided when to ask.
// Nothing here comes from the protocol of the Gateways.

// The exporter ends a scrape long before: this is for one that is gone.
const PATIENCE_MS = 30000;
const LONGEST_REASON = 300;

async function reasonOf(response) {
    const text = await response.text();
    try {
        return JSON.parse(text).error ?? text;
    } catch {
        return text;
    }
}

// The document; throws an Error with a message for people. `stop` is the signal of an AbortController.
export async function ask(path, stop) {
    const patience = AbortSignal.timeout(PATIENCE_MS);
    let response;
    try {
        response = await fetch(path, {cache: "no-store", signal: AbortSignal.any([patience, stop])});
    } catch {
        throw new Error("the exporter does not answer");
    }
    if (!response.ok) {
        const reason = (await reasonOf(response)).trim().slice(0, LONGEST_REASON);
        throw new Error(`the exporter answers with status ${response.status}: ${reason}`);
    }
    return response.json();
}
