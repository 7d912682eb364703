// Connects the official MCP TypeScript SDK client to `kelvor --mode mcp` over stdio, as an AI
// assistant would, and checks what it gets: node client.mjs <path to kelvor>.
// Prints a one-line JSON summary on stdout; exits 1 with the reasons on stderr on any fault.
import Ajv from "ajv";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { EmptyResultSchema, ListToolsResultSchema } from "@modelcontextprotocol/sdk/types.js";

// With more words after the path, they are the arguments to start it with (as a settings file
// written by --mode mcp-install names them); without, the automation server's own.
const kelvor = process.argv[2];
const serverArgs = process.argv.length > 3 ? process.argv.slice(3) : ["--mode", "mcp"];
if (!kelvor) {
  console.error("usage: node client.mjs <path to kelvor> [arguments…]");
  process.exit(2);
}

const faults = [];
const fault = (what) => faults.push(String(what));

// The SDK's own default environment: only HOME, LOGNAME, PATH, SHELL, TERM and USER travel.
const transport = new StdioClientTransport({ command: kelvor, args: serverArgs, stderr: "pipe" });
let serverStderr = "";
transport.stderr?.on("data", (chunk) => (serverStderr += chunk));

const client = new Client({ name: "kelvor-suite", version: "1.0.0" });
// Every line the SDK cannot read as a message (stray output) and every protocol fault lands here.
client.onerror = (error) => fault(`client error: ${error?.message ?? error}`);

const ajv = new (Ajv.default ?? Ajv)({ strict: true, allErrors: true });
const MODERN = { "io.modelcontextprotocol/protocolVersion": "2025-11-25" };

const summary = { tools: [], called: 0 };
try {
  await client.connect(transport);
  const server = client.getServerVersion();
  if (server?.name !== "kelvor") fault(`server name ${JSON.stringify(server)}`);
  summary.instructions = Boolean(client.getInstructions());

  await client.ping();

  const listed = await client.listTools();
  for (const tool of listed.tools) {
    summary.tools.push(tool.name);
    try {
      ajv.compile(tool.inputSchema);
    } catch (error) {
      fault(`${tool.name}: inputSchema does not compile: ${error.message}`);
    }
  }
  if (listed.tools.length === 0) fault("no tools listed");

  for (const tool of listed.tools) {
    const result = await client.callTool({ name: tool.name, arguments: {} });
    summary.called += 1;
    const text = result.content?.[0]?.text;
    let payload;
    try {
      payload = JSON.parse(text);
    } catch {
      fault(`${tool.name}: the result text is not JSON: ${text}`);
      continue;
    }
    if (typeof payload._trust !== "string") fault(`${tool.name}: no _trust in the payload`);
    if (typeof result.isError !== "boolean") fault(`${tool.name}: isError is not a boolean`);
  }

  // A client of the newer protocol announces its version on each request; the SDK's strict
  // empty-result check must still accept the ping answer, and the tool list must stay the same.
  await client.request({ method: "ping", params: { _meta: MODERN } }, EmptyResultSchema);
  const modern = await client.request({ method: "tools/list", params: { _meta: MODERN } }, ListToolsResultSchema);
  if (JSON.stringify(modern.tools) !== JSON.stringify(listed.tools)) fault("the tool list changed in the modern era");
} catch (error) {
  fault(`protocol failure: ${error?.stack ?? error}`);
} finally {
  await client.close().catch((error) => fault(`close: ${error.message}`));
}

if (serverStderr.trim()) summary.serverStderr = serverStderr;
if (faults.length) {
  console.error(faults.join("\n"));
  console.log(JSON.stringify({ ok: false, ...summary }));
  process.exit(1);
}
console.log(JSON.stringify({ ok: true, ...summary }));
