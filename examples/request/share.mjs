#!/usr/bin/env node
// Shares a page and files by mail: a request in JSON on a pipe, an outcome in JSON back.
// Usage: share.mjs TITLE URL [FILE]...

import { spawn } from "node:child_process";
import { text } from "node:stream/consumers";
import { pathToFileURL } from "node:url";

/** Resolves to the outcome once the mail client has answered. */
async function share(request) {
  const program = spawn("korvane-share", ["--json", "--request", "-"], {
    stdio: ["pipe", "pipe", "inherit"],
  });
  program.stdin.on("error", () => {}); // it has ended early, and its outcome says why
  program.stdin.end(JSON.stringify(request));
  const failure = new Promise((resolve, reject) => program.on("error", reject));
  return JSON.parse(await Promise.race([text(program.stdout), failure]));
}

const [title, url, ...files] = process.argv.slice(2);
const attachments = [{ url }, ...files.map((file) => ({ url: pathToFileURL(file).href }))];
const outcome = await share({ items: [{ title, attachments }] });
console.log(outcome.status);
for (const { item, reason } of outcome.missing) console.log(`${item}: ${reason}`);
process.exitCode = outcome.status === "opened" ? 0 : 1;
