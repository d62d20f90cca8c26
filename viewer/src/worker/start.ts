// Starts the WebAssembly module, whose bytes are part of this script: nothing is fetched.

import createModule from "virtual:torva-loader";
import wasmText from "virtual:torva-wasm";
import { Front, type Module } from "./front";

export async function startFront(): Promise<Front> {
    const compressed = Uint8Array.from(atob(wasmText), (c) => c.charCodeAt(0));
    const stream = new Blob([compressed]).stream().pipeThrough(new DecompressionStream("gzip"));
    const wasmBinary = await new Response(stream).arrayBuffer();
    return new Front((await createModule({ wasmBinary, locateFile: (name: string) => name })) as Module);
}
