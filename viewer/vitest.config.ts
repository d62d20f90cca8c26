import { defineConfig } from "vitest/config";

export default defineConfig({
    test: { testTimeout: 400_000, hookTimeout: 60_000, fileParallelism: false, reporters: ["default"] },
});
