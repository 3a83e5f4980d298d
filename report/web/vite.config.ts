// SPDX-License-Identifier: BSD-3-Clause
import { defineConfig, type Plugin } from "vite";

/** Puts script and styles into the page, so that it needs no other file. */
function inOnePage(): Plugin {
    return {
        name: "in-one-page",
        enforce: "post",
        generateBundle(_options, bundle) {
            const page = bundle["index.html"];
            if (page?.type !== "asset") {
                throw new Error("no page was built");
            }
            let html = String(page.source);
            for (const [name, part] of Object.entries(bundle)) {
                if (part.type === "chunk") {
                    // A script must not hold what ends its element. Functions, since "$" means something in texts.
                    const code = part.code.replace(/<\/script/gi, "<\\/script");
                    const script = `<script type="module">${code}</script>`;
                    html = html
                        .replace(/<script type="module"[^>]*src="[^"]*"[^>]*><\/script>/, "")
                        .replace("</body>", () => `${script}\n</body>`);
                    delete bundle[name];
                } else if (name.endsWith(".css")) {
                    const styles = `<style>${String(part.source)}</style>`;
                    html = html.replace(/<link rel="stylesheet"[^>]*>/, () => styles);
                    delete bundle[name];
                }
            }
            page.source = html;
        },
    };
}

export default defineConfig({
    plugins: [inOnePage()],
    build: {
        target: "es2020",
        modulePreload: false,
        cssCodeSplit: false,
        assetsInlineLimit: 0,
        chunkSizeWarningLimit: 4000,
        reportCompressedSize: false,
        rollupOptions: { output: { inlineDynamicImports: true } },
    },
});
