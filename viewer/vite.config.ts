// Builds one HTML file: styles, scripts, the worker and the WebAssembly module are inside it, and its content
// security policy names them by hash, so that nothing else runs and nothing is loaded.

import { createHash } from "node:crypto";
import { readFileSync } from "node:fs";
import { gzipSync } from "node:zlib";
import { resolve } from "node:path";
import { defineConfig, type Plugin } from "vite";

const root = import.meta.dirname;
const built = resolve(root, "../build/viewer");

// The WebAssembly module and its loader.
function torva(): Plugin {
    const files: Record<string, () => string> = {
        "virtual:torva-loader": () => readFileSync(resolve(built, "wasm/torva.mjs"), "utf8"),
        "virtual:torva-wasm": () => {
            const packed = gzipSync(readFileSync(resolve(built, "wasm/torva.wasm")), { level: 9 });
            return `export default ${JSON.stringify(packed.toString("base64"))};`;
        },
    };
    return {
        name: "torva",
        resolveId: (id) => (id in files ? "\0" + id : undefined),
        load: (id) => files[id.slice(1)]?.(),
    };
}

function hash(text: string): string {
    return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
}

// Inlines the only script and style sheet.
function singleFile(): Plugin {
    return {
        name: "single-file",
        enforce: "post",
        generateBundle(_options, bundle) {
            const page = Object.values(bundle).find((file) => file.fileName.endsWith(".html"));
            if (page?.type !== "asset") throw new Error("no page in the bundle");
            const scripts: string[] = [];
            const styles: string[] = [];
            for (const file of Object.values(bundle)) {
                if (file === page) continue;
                if (file.type === "chunk") scripts.push(file.code);
                else if (file.fileName.endsWith(".css")) styles.push(String(file.source));
                else throw new Error(`${file.fileName} cannot be put into the page`);
                delete bundle[file.fileName];
            }
            if (scripts.length !== 1) throw new Error(`expected one script, found ${scripts.length}`);
            const script = (scripts[0] ?? "").replaceAll("</script", "<\\/script").trim();
            const style = styles.join("\n").trim();
            const policy = [
                "default-src 'none'",
                `script-src ${hash(script)} 'wasm-unsafe-eval'`,
                `style-src ${hash(style)}`,
                "worker-src blob:",
                "img-src data:",
                "base-uri 'none'",
                "form-action 'none'",
            ].join("; ");
            page.source = String(page.source)
                .replace(/<script\b[^>]*><\/script>\s*/g, "")
                .replace(/<link\b[^>]*rel="(stylesheet|modulepreload)"[^>]*>\s*/g, "")
                .replace("<!-- policy -->", () => `<meta http-equiv="Content-Security-Policy" content="${policy}">`)
                .replace("<!-- style -->", () => `<style>${style}</style>`)
                .replace("<!-- script -->", () => `<script type="module">${script}</script>`);
            page.fileName = "tvsym-viewer.html";
        },
    };
}

export default defineConfig({
    root,
    base: "./",
    plugins: [torva(), singleFile()],
    worker: { format: "iife", plugins: () => [torva()] },
    build: {
        outDir: built,
        emptyOutDir: false,
        assetsInlineLimit: 0,
        modulePreload: false,
        cssCodeSplit: false,
        chunkSizeWarningLimit: 2048,
    },
    oxc: { jsx: { runtime: "automatic", importSource: "preact" } },
});
