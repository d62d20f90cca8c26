// Made by the build (vite.config.ts).
declare module "virtual:torva-loader" {
    const createModule: (options: { wasmBinary: ArrayBuffer; locateFile: (name: string) => string }) => Promise<unknown>;
    export default createModule;
}
declare module "virtual:torva-wasm" {
    const gzippedBase64: string;
    export default gzippedBase64;
}

// Of the library WebWorker, which cannot be loaded beside DOM.
declare class FileReaderSync {
    readAsArrayBuffer(blob: Blob): ArrayBuffer;
}
