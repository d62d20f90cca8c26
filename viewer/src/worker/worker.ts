// The worker's entry: starts the library and answers the page's requests one by one.

import type { Message, Method, Request } from "../protocol";
import { Engine } from "./engine";
import { startFront } from "./start";

const engine = startFront().then((front) => new Engine(front, (what, done) => post({ type: "progress", what, done })));

function post(message: Message, transfer: Transferable[] = []): void {
    (postMessage as (message: Message, transfer: Transferable[]) => void)(message, transfer);
}

engine.then(
    () => post({ type: "ready" }),
    (error: unknown) => post({ type: "error", id: 0, message: `The reader could not be started: ${text(error)}` }),
);

function text(error: unknown): string {
    return error instanceof Error ? error.message : String(error);
}

self.onmessage = (event: MessageEvent<Request>): void => {
    const { id, method, args } = event.data;
    void engine
        .then((running) => running.call(method as Method, args))
        .then(
            (value) => post({ type: "reply", id, value }),
            (error: unknown) => post({ type: "error", id, message: text(error) }),
        );
};
