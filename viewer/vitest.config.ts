import { defineConfig } from "vitest/config";

const common = { testTimeout: 400_000, hookTimeout: 60_000 };

// The large file is measured when nothing else runs.
export default defineConfig({
    test: {
        maxWorkers: 2,
        reporters: ["default"],
        projects: [
            {
                test: {
                    ...common,
                    name: "page",
                    include: ["src/**/*.test.ts", "tests/**/*.test.ts"],
                    exclude: ["tests/large.test.ts"],
                    sequence: { groupOrder: 0 },
                },
            },
            { test: { ...common, name: "large", include: ["tests/large.test.ts"], sequence: { groupOrder: 1 } } },
        ],
    },
});
