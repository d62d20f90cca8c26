// The page's end of the messages: a call of the worker as a promise.

import EngineWorker from "../worker/worker?worker&inline";
import type { Message, Method, Methods, Request } from "../protocol";

type Waiting = { resolve: (value: never) => void; reject: (error: Error) => void };

export class Client {
    private readonly worker = new EngineWorker();
    private readonly waiting = new Map<number, Waiting>();
    private next = 1;
    onProgress: (what: string, done: number) => void = () => {};
    onFailure: (message: string) => void = () => {};

    constructor() {
        this.worker.onmessage = (event: MessageEvent<Message>) => this.receive(event.data);
        this.worker.onerror = (event) => this.fail(event.message || "The reader stopped.");
    }

    call<M extends Method>(method: M, ...args: Parameters<Methods[M]>): Promise<ReturnType<Methods[M]>> {
        const id = this.next++;
        return new Promise((resolve, reject) => {
            this.waiting.set(id, { resolve, reject });
            this.worker.postMessage({ id, method, args } satisfies Request);
        });
    }

    private receive(message: Message): void {
        if (message.type === "progress") return this.onProgress(message.what, message.done);
        if (message.type === "ready") return;
        if (message.id === 0) return this.fail(message.type === "error" ? message.message : "");
        const waiting = this.waiting.get(message.id);
        this.waiting.delete(message.id);
        if (message.type === "reply") waiting?.resolve(message.value as never);
        else waiting?.reject(new Error(message.message));
    }

    private fail(message: string): void {
        for (const { reject } of this.waiting.values()) reject(new Error(message));
        this.waiting.clear();
        this.onFailure(message);
    }
}

export const client = new Client();
