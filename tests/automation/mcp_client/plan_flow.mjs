// Runs a list of tool calls through the official MCP TypeScript SDK client against
// `kelvor --mode mcp`, as an assistant carrying a plan through to its execution would:
//   node plan_flow.mjs <path to kelvor> <steps.json>
// steps.json is an array of {"tool": name, "arguments": {...}, "pause": name?, "progress": bool?}.
// With "progress" the call asks for progress notifications and its result counts them. A string argument
// "$plan:N" stands for the plan_token of the Nth plan answered so far (from 0). With "pause", the
// script first writes "<name>.ready" beside steps.json and waits for "<name>.go" before the call,
// so a test can change the disk between a plan and its execution.
// Prints one line of JSON: {"ok", "results": [{"isError", "payload"}...]}; exits 1 on any fault.
import { existsSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { readFileSync } from "node:fs";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const [kelvor, stepsFile] = process.argv.slice(2);
if (!kelvor || !stepsFile) {
  console.error("usage: node plan_flow.mjs <path to kelvor> <steps.json>");
  process.exit(2);
}
const steps = JSON.parse(readFileSync(stepsFile, "utf8"));
const folder = dirname(stepsFile);

const faults = [];
const transport = new StdioClientTransport({ command: kelvor, args: ["--mode", "mcp"], stderr: "pipe" });
let serverStderr = "";
transport.stderr?.on("data", (chunk) => (serverStderr += chunk));
const client = new Client({ name: "kelvor-plan-flow", version: "1.0.0" });
client.onerror = (error) => faults.push(`client error: ${error?.message ?? error}`);

const sleep = (ms) => new Promise((done) => setTimeout(done, ms));
async function pause(name) {
  writeFileSync(join(folder, `${name}.ready`), "");
  const until = Date.now() + 60_000;
  while (!existsSync(join(folder, `${name}.go`))) {
    if (Date.now() > until) throw new Error(`nobody answered the pause ${name}`);
    await sleep(20);
  }
}

const tokens = [];
const substitute = (value) => {
  if (typeof value === "string" && value.startsWith("$plan:")) return tokens[Number(value.slice(6))] ?? value;
  if (Array.isArray(value)) return value.map(substitute);
  if (value && typeof value === "object")
    return Object.fromEntries(Object.entries(value).map(([key, inner]) => [key, substitute(inner)]));
  return value;
};

const results = [];
try {
  await client.connect(transport);
  for (const step of steps) {
    if (step.pause) await pause(step.pause);
    let progress = 0;
    const options = step.progress ? { onprogress: () => (progress += 1) } : undefined;
    const result = await client.callTool(
      { name: step.tool, arguments: substitute(step.arguments ?? {}) },
      undefined,
      options,
    );
    const payload = JSON.parse(result.content?.[0]?.text ?? "null");
    if (typeof payload?.plan_token === "string") tokens.push(payload.plan_token);
    results.push({ isError: result.isError, payload, progress });
  }
} catch (error) {
  faults.push(`protocol failure: ${error?.stack ?? error}`);
} finally {
  await client.close().catch((error) => faults.push(`close: ${error.message}`));
}

const summary = { ok: faults.length === 0, results };
if (serverStderr.trim()) summary.serverStderr = serverStderr;
if (faults.length) console.error(faults.join("\n"));
console.log(JSON.stringify(summary));
process.exit(faults.length ? 1 : 0);
