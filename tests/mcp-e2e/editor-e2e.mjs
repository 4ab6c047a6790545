// Drives the real editor's agent server with the official MCP TypeScript client, the way an AI
// agent does: over HTTP (StreamableHTTPClientTransport) and through the stdio bridge lmd-mcp
// (StdioClientTransport). run-with-editor.sh starts the editor with tests/mcp-e2e/data/e2e-game.xml
// and a fresh data root whose four agent permissions are set to Approve, then runs this file.
//
// Environment: LMD_MCP_PORT (the editor's port), LMD_MCP_BRIDGE (path of lmd-mcp),
// LMD_FREE_PORT (a port nothing listens on), LUMENDA3D_HOME (the editor's data root),
// LMD_E2E_ARTIFACTS (folder for the screenshots).
//
// The steps share one editor and build on each other, so they run in order.
import { test, after } from 'node:test';
import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import path from 'node:path';
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import jpeg from 'jpeg-js';

const port = Number(process.env.LMD_MCP_PORT);
const bridge = process.env.LMD_MCP_BRIDGE;
const freePort = Number(process.env.LMD_FREE_PORT);
const dataRoot = process.env.LUMENDA3D_HOME;
const artifacts = process.env.LMD_E2E_ARTIFACTS || '';
assert.ok(port > 0 && bridge && freePort > 0 && dataRoot, 'run this through run-with-editor.sh');
const endpoint = `http://127.0.0.1:${port}/mcp`;

const EXPECTED_TOOLS = [
  'get_game_xml', 'apply_edits', 'set_game_xml', 'run_game', 'stop_game', 'get_status', 'get_logs',
  'get_screenshot', 'send_input', 'import_asset', 'list_local_assets', 'get_scene_info', 'select_object',
  'save_project', 'save_project_as', 'open_project', 'new_project', 'list_projects', 'list_user_assets',
  'export_game', 'get_operation_status', 'get_documentation',
];
const EXPECTED_RESOURCES = ['rules', 'schema', 'assets', 'protocol', 'examples'].map((s) => `lumenda3d://docs/${s}`);
const STALE_TEXT = 'Stale revision: the document changed since you read it. Call get_game_xml and re-derive your edits.';
const SAVED_PROJECT = 'e2e-saved';

const client = new Client({ name: 'lumenda3d-e2e', version: '1.0.0' });
after(async () => {
  await client.close().catch(() => {});
});

// --- helpers -----------------------------------------------------------------------------------

function textOf(result) {
  assert.ok(Array.isArray(result.content) && result.content.length > 0, 'a tool result has content');
  assert.equal(result.content[0].type, 'text');
  return result.content[0].text;
}

async function call(name, args = {}) {
  return client.callTool({ name, arguments: args });
}

async function callOk(name, args = {}) {
  const result = await call(name, args);
  assert.ok(!result.isError, `${name} failed: ${JSON.stringify(result.content)}`);
  return textOf(result);
}

async function callError(name, args = {}) {
  const result = await call(name, args);
  assert.equal(result.isError, true, `${name} was expected to fail, answered: ${JSON.stringify(result.content)}`);
  return textOf(result);
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Polls until `probe` returns a truthy value. The limit only keeps a broken editor from hanging
// the run: the editor moves on over its own frames and the tools tell the agent to poll.
async function waitFor(what, probe, limitMs = 30000) {
  const end = Date.now() + limitMs;
  let last;
  while (Date.now() < end) {
    last = await probe();
    if (last) return last;
    await sleep(150);
  }
  assert.fail(`gave up waiting for ${what}`);
}

async function status() {
  return JSON.parse(await callOk('get_status'));
}

// Waits for the editor to settle after an apply, a play request or queued input.
async function settled(playStatus) {
  return waitFor(`play status "${playStatus}" with no input playing`, async () => {
    const s = await status();
    return s.playStatus === playStatus && !s.inputActive ? s : null;
  });
}

function parseGameXml(text) {
  const match = /^revision: ([0-9a-f]{16})  \(pass as baseRevision to apply_edits; node ids are ephemeral\)\n\n/.exec(text);
  assert.ok(match, `get_game_xml begins with the revision line: ${text.slice(0, 120)}`);
  return { revision: match[1], xml: text.slice(match[0].length) };
}

async function gameXml() {
  return parseGameXml(await callOk('get_game_xml'));
}

function idOf(xml, tag, name) {
  const pattern = name ? new RegExp(`<${tag}\\b[^>]*\\bname="${name}"[^>]*>`) : new RegExp(`<${tag}\\b[^>]*>`);
  const element = pattern.exec(xml);
  assert.ok(element, `<${tag}${name ? ` name="${name}"` : ''}> is in the game`);
  const id = /\bid="(\d+)"/.exec(element[0]);
  assert.ok(id, `${element[0]} carries an id`);
  return id[1];
}

async function sceneObject(name) {
  const info = JSON.parse(await callOk('get_scene_info'));
  const object = info.objects.find((o) => o.name === name);
  assert.ok(object, `${name} is in the live scene: ${JSON.stringify(info.objects.map((o) => o.name))}`);
  return object;
}

async function screenshot(label) {
  const result = await call('get_screenshot', { width: 320, height: 320 });
  assert.ok(!result.isError, `get_screenshot failed: ${JSON.stringify(result.content)}`);
  const [image] = result.content;
  assert.equal(image.type, 'image');
  assert.equal(image.mimeType, 'image/jpeg');
  const bytes = Buffer.from(image.data, 'base64');
  if (artifacts) {
    mkdirSync(artifacts, { recursive: true });
    writeFileSync(path.join(artifacts, `mcp-e2e-${label}.jpg`), bytes);
  }
  return jpeg.decode(bytes, { useTArray: true });
}

// Mean absolute difference of the RGB channels, 0 to 255.
function meanDifference(a, b) {
  assert.equal(a.width, b.width);
  assert.equal(a.height, b.height);
  let sum = 0;
  for (let i = 0; i < a.data.length; i += 4)
    sum += Math.abs(a.data[i] - b.data[i]) + Math.abs(a.data[i + 1] - b.data[i + 1]) + Math.abs(a.data[i + 2] - b.data[i + 2]);
  return sum / ((a.data.length / 4) * 3);
}

function averageColour(image) {
  const sum = [0, 0, 0];
  for (let i = 0; i < image.data.length; i += 4)
    for (let c = 0; c < 3; ++c) sum[c] += image.data[i + c];
  return sum.map((v) => v / (image.data.length / 4));
}

function logLines(text) {
  const [head, ...rest] = text.split('\n');
  const last = /^lastLogId: (\d+)  \(pass as sinceId next time\)$/.exec(head);
  assert.ok(last, `get_logs begins with lastLogId: ${head}`);
  const lines = rest.filter((l) => l.length > 0 && l !== '(no matching log lines)').map((l) => {
    const m = /^\[(\d+)\]\[(trivial|normal|warning|critical)\] /.exec(l);
    assert.ok(m, `a log line reads [id][level] text: ${l}`);
    return { id: Number(m[1]), level: m[2], text: l.slice(m[0].length) };
  });
  return { lastId: Number(last[1]), lines };
}

// Waits for the last asynchronous project operation to end and returns its record.
async function operationOutcome(name) {
  return waitFor(`${name} to finish`, async () => {
    const record = JSON.parse(await callOk('get_operation_status'));
    assert.equal(record.operation, name);
    return record.state === 'running' ? null : record;
  });
}

// --- over HTTP ---------------------------------------------------------------------------------

let firstShot;

test('the endpoint answers only POST on /mcp', async () => {
  const get = await fetch(endpoint);
  assert.equal(get.status, 405);
  const other = await fetch(`http://127.0.0.1:${port}/other`, { method: 'POST', body: '{}' });
  assert.equal(other.status, 404);
  const foreign = await fetch(endpoint, {
    method: 'POST', headers: { Origin: 'http://evil.example', 'Content-Type': 'application/json' },
    body: JSON.stringify({ jsonrpc: '2.0', id: 1, method: 'ping' }),
  });
  assert.equal(foreign.status, 403);
  assert.deepEqual(await foreign.json(), { error: 'forbidden origin' });
});

test('members of the wrong type get JSON-RPC errors, never the JSON library\'s text', async () => {
  const post = async (message) => {
    const reply = await fetch(endpoint, {
      method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(message),
    });
    assert.equal(reply.status, 200);
    const text = await reply.text();
    assert.doesNotMatch(text, /json\.exception|type_error/);
    return JSON.parse(text);
  };
  const cases = [
    [{ jsonrpc: '2.0', id: 1, method: 42 }, -32600],
    [{ jsonrpc: '2.0', id: 2, method: 'tools/call', params: { name: 5 } }, -32602],
    [{ jsonrpc: '2.0', id: 3, method: 'tools/call', params: { name: 'get_status', arguments: 'now' } }, -32602],
    [{ jsonrpc: '2.0', id: 4, method: 'tools/list', params: [1] }, -32602],
  ];
  for (const [message, code] of cases) {
    const reply = await post(message);
    assert.equal(reply.id, message.id);
    assert.equal(reply.error?.code, code, JSON.stringify(reply));
  }
  // An edit operation whose op isn't a string fails as an operation, in the tool's own words.
  const edit = await post({
    jsonrpc: '2.0', id: 5, method: 'tools/call', params: { name: 'apply_edits', arguments: { ops: [{ op: 7 }] } },
  });
  assert.equal(edit.result?.isError, true);
  assert.match(edit.result.content[0].text, /^No changes could be applied: op 1: needs a string 'op'/);
});

test('initialize over streamable HTTP', async () => {
  await client.connect(new StreamableHTTPClientTransport(new URL(endpoint)));
  const info = client.getServerVersion();
  assert.equal(info.name, 'lumenda3d-editor');
  assert.equal(info.title, 'Lumenda3D Editor');
  assert.deepEqual(Object.keys(client.getServerCapabilities()).sort(), ['resources', 'tools']);
  assert.match(client.getInstructions() ?? '', /get_game_xml/);
});

test('lists exactly the 22 tools and the 5 resources', async () => {
  const { tools } = await client.listTools();
  assert.deepEqual(tools.map((t) => t.name), EXPECTED_TOOLS);
  for (const tool of tools) {
    assert.equal(tool.inputSchema.type, 'object', tool.name);
    assert.ok(tool.description.length > 20, tool.name);
  }
  const { resources } = await client.listResources();
  assert.deepEqual(resources.map((r) => r.uri), EXPECTED_RESOURCES);
  const rules = await client.readResource({ uri: 'lumenda3d://docs/rules' });
  assert.equal(rules.contents[0].mimeType, 'text/markdown');
  assert.ok(rules.contents[0].text.length > 100);
});

test('get_game_xml shows the open game with ids and a revision that get_status agrees with', async () => {
  const { revision, xml } = await gameXml();
  assert.match(xml, /<Box\b[^>]*\bname="Runner"/);
  idOf(xml, 'Level');
  const s = await status();
  assert.equal(s.revision, revision);
  assert.equal(s.projectName, 'e2e-game');
  assert.ok(s.windowWidth > 1 && s.windowHeight > 1);
});

test('apply_edits with baseRevision lands, and the old revision is then refused as stale', async () => {
  await settled('stopped');
  firstShot = await screenshot('before-edit');
  const before = await gameXml();
  const levelId = idOf(before.xml, 'Level');
  const runnerId = idOf(before.xml, 'Box', 'Runner');
  const reply = await callOk('apply_edits', {
    baseRevision: before.revision,
    ops: [
      { op: 'update', id: levelId, attrs: { backgroundColor: '0xF2F2F2' } },
      { op: 'update', id: runnerId, attrs: { color: '0x1E88E5', width: '3', height: '3' } },
    ],
  });
  assert.match(reply, /^Applied\. New revision: [0-9a-f]{16}\n/);
  const now = await gameXml();
  assert.notEqual(now.revision, before.revision);
  assert.match(now.xml, /<Level\b[^>]*\bbackgroundColor="0xF2F2F2"/);
  assert.match(now.xml, /<Box\b[^>]*\bname="Runner"[^>]*\bcolor="0x1E88E5"/);

  const stale = await callError('apply_edits', {
    baseRevision: before.revision,
    ops: [{ op: 'update', id: levelId, attrs: { backgroundColor: '0x000000' } }],
  });
  assert.equal(stale, STALE_TEXT);
  assert.equal((await gameXml()).revision, now.revision, 'a refused edit leaves the document as it was');
});

test('get_screenshot shows the edit: the pixels changed', async () => {
  await settled('stopped');
  const shot = await screenshot('after-edit');
  assert.ok(shot.width <= 320 && shot.height <= 320 && shot.width >= 64 && shot.height >= 64,
    `the capture is capped at 320: ${shot.width}x${shot.height}`);
  const difference = meanDifference(firstShot, shot);
  assert.ok(difference > 20, `the scene looks different after the edit (mean difference ${difference.toFixed(1)})`);
  // The light background now fills the sky: the picture got brighter, not just noisier.
  const brightness = (c) => c[0] + c[1] + c[2];
  assert.ok(brightness(averageColour(shot)) > brightness(averageColour(firstShot)) + 60,
    `brighter after the edit: ${averageColour(firstShot).map(Math.round)} -> ${averageColour(shot).map(Math.round)}`);
});

// Mean RGB difference of two same-sized captures inside a rectangle given in fractions of the image.
function regionDifference(a, b, x0, y0, x1, y1) {
  let sum = 0;
  let count = 0;
  for (let y = Math.floor(y0 * a.height); y < Math.floor(y1 * a.height); ++y)
    for (let x = Math.floor(x0 * a.width); x < Math.floor(x1 * a.width); ++x) {
      const i = (y * a.width + x) * 4;
      sum += Math.abs(a.data[i] - b.data[i]) + Math.abs(a.data[i + 1] - b.data[i + 1]) + Math.abs(a.data[i + 2] - b.data[i + 2]);
      ++count;
    }
  return sum / (count * 3);
}

async function windowShot(label) {
  const result = await call('get_screenshot', { width: 640, height: 400, includeOverlay: true });
  assert.ok(!result.isError, `get_screenshot failed: ${JSON.stringify(result.content)}`);
  const bytes = Buffer.from(result.content[0].data, 'base64');
  if (artifacts) {
    mkdirSync(artifacts, { recursive: true });
    writeFileSync(path.join(artifacts, `mcp-e2e-${label}.jpg`), bytes);
  }
  return jpeg.decode(bytes, { useTArray: true });
}

test('select_object on a nested node opens its ancestors and scrolls the block tree to it', async () => {
  await settled('stopped');
  const before = await gameXml();
  const levelId = idOf(before.xml, 'Level');
  const comments = Array.from({ length: 12 }, (_, i) => `<Comment text="filler ${i}"/>`).join('');
  const inserted = await callOk('apply_edits', {
    baseRevision: before.revision,
    ops: [
      { op: 'insert', parentId: levelId, xml: `<Group name="Filler" isCollapse="true">${comments}</Group>` },
      { op: 'insert', parentId: levelId, xml: '<Group name="Outer" x="40" isCollapse="true"><Group name="Inner" isCollapse="true"><Box name="Deep"/></Group></Group>' },
    ],
  });
  assert.match(inserted, /^Applied\./);
  await settled('stopped');
  const { xml } = await gameXml();
  const deepId = idOf(xml, 'Box', 'Deep');
  await new Promise((r) => setTimeout(r, 500));
  const shotBefore = await windowShot('tree-before-select');

  const reply = await callOk('select_object', { id: `n${deepId}` });
  assert.match(reply, /Selection requested/);
  await new Promise((r) => setTimeout(r, 1500));
  const shotAfter = await windowShot('tree-after-select');
  // The tree (left of the scene) shows something else now: its ancestors opened and the list
  // scrolled down to the block.
  const tree = regionDifference(shotBefore, shotAfter, 0.13, 0.18, 0.40, 0.97);
  assert.ok(tree > 8, `the block tree changed (mean difference ${tree.toFixed(1)})`);
  // Opening for a selection is not an edit: the groups stay closed in the document.
  const after = await gameXml();
  assert.equal(after.revision, (await status()).revision);
  assert.match(after.xml, /<Group\b[^>]*\bname="Outer"[^>]*\bisCollapse="true"/);
  assert.match(after.xml, /<Group\b[^>]*\bname="Inner"[^>]*\bisCollapse="true"/);

  // The game as it was, for the tests that follow.
  const cleanup = await callOk('apply_edits', {
    baseRevision: after.revision,
    ops: [{ op: 'delete', id: idOf(after.xml, 'Group', 'Outer') }, { op: 'delete', id: idOf(after.xml, 'Group', 'Filler') }],
  });
  assert.match(cleanup, /^Applied\./);
  await settled('stopped');
});

test('apply_edits applies a block with an undeclared variable and warns about it by node id', async () => {
  await settled('stopped');
  const before = await gameXml();
  const levelId = idOf(before.xml, 'Level');
  const reply = await callOk('apply_edits', {
    baseRevision: before.revision,
    ops: [{ op: 'insert', parentId: levelId, xml: '<OnStart><Set var="lives" value="3"/></OnStart>' }],
  });
  assert.match(reply, /^Applied\./);
  const { xml } = await gameXml();
  const setId = idOf(xml, 'Set');
  assert.match(reply, /\nWarnings — the edit was applied, but these blocks will not work as written when the game runs; fix them:\n/);
  const warning = reply.split('\n').find((l) => l.startsWith(`- n${setId} Set: `));
  assert.ok(warning, `a warning names the Set by its id n${setId}: ${reply}`);
  assert.match(warning, /unknown variable 'lives'/);
  assert.match(xml, /<Set\b[^>]*\bvar="lives"/, 'a warning never refuses the edit');

  const cleanup = await callOk('apply_edits', {
    ops: [{ op: 'delete', id: idOf(xml, 'OnStart') }],
  });
  assert.doesNotMatch(cleanup, /Warnings/);
  await settled('stopped');
});

test('run_game, send_input moves the runner, get_logs with sinceId gives only newer lines, stop_game', async () => {
  const beforeRun = logLines(await callOk('get_logs')).lastId;
  assert.match(await callOk('run_game'), /^Play requested \(asynchronous\)\. Status: \w+ — poll get_status\.$/);
  await settled('playing');

  const start = await sceneObject('Runner');
  const mark = logLines(await callOk('get_logs', { minLevel: 'trivial' })).lastId;
  assert.ok(mark >= beforeRun);
  assert.equal(await callOk('send_input', { type: 'keys', keys: ['Right'], holdSeconds: 1 }),
    'Queued. Poll get_status for inputActive:false before the next action or a screenshot.');
  await settled('playing');
  const moved = await sceneObject('Runner');
  assert.ok(moved.position[0] > start.position[0] + 0.5,
    `the runner moved right: x ${start.position[0]} -> ${moved.position[0]}`);
  assert.equal(moved.position[1], start.position[1]);

  const newer = logLines(await callOk('get_logs', { sinceId: mark, minLevel: 'trivial' }));
  assert.ok(newer.lines.length > 0, 'the key press logged something');
  assert.ok(newer.lines.every((l) => l.id > mark), `only lines after ${mark}: ${newer.lines.map((l) => l.id)}`);
  assert.ok(newer.lines.some((l) => l.text.includes('Runner starts moving right')), 'the game\'s Print line is there');
  const all = logLines(await callOk('get_logs', { sinceId: 0, maxLines: 0, minLevel: 'trivial' }));
  assert.ok(all.lines.some((l) => l.id <= mark), 'without sinceId the older lines are there too');
  const none = logLines(await callOk('get_logs', { sinceId: newer.lastId }));
  assert.equal(none.lines.length, 0);

  assert.match(await callOk('stop_game'), /^Stop requested \(asynchronous\)\. Status: \w+ — poll get_status\.$/);
  await settled('stopped');
  const back = await sceneObject('Runner');
  assert.equal(back.position[0], start.position[0], 'stopping brings the edit-mode scene back');
});

test('get_scene_info reads level, clones, 2D texts and variables; live edits and exact spans of game time', async () => {
  await settled('stopped');
  const before = await gameXml();
  const levelId = idOf(before.xml, 'Level');
  assert.match(await callOk('apply_edits', {
    baseRevision: before.revision,
    ops: [
      { op: 'insert', parentId: levelId, xml: '<Var name="coins" value="3"/>' },
      { op: 'insert', parentId: levelId, xml: '<Text2D name="CoinText" text="Coins: {coins}" x="20" y="20"/>' },
      { op: 'insert', parentId: levelId, xml: '<Sphere name="Ball" x="3" y="4" body="dynamic"/>' },
      { op: 'insert', parentId: levelId, xml: '<OnStart><Clone target="Ball" newName="Ball2" offsetX="2"/></OnStart>' },
    ],
  }), /^Applied\./);
  await settled('stopped');
  const ballId = idOf((await gameXml()).xml, 'Sphere', 'Ball');
  const mark = logLines(await callOk('get_logs')).lastId;

  // A span of game time from a stopped game: the answer comes once the game has paused.
  assert.match(await callOk('run_game', { runSeconds: 0.5, wait: true }),
    /^The span has played\. Status: paused, game time 0\.5 s\./);
  assert.equal((await status()).level, 'Main');
  const started = logLines(await callOk('get_logs', { sinceId: mark }));
  assert.ok(started.lines.some((l) => l.text === "Level 'Main' started"), JSON.stringify(started.lines));

  let info = JSON.parse(await callOk('get_scene_info'));
  assert.equal(info.playStatus, 'paused');
  assert.equal(info.level, 'Main');
  assert.equal(info.gameTime, 0.5);
  assert.equal(info.variables.coins, 3);
  const text = info.elements2D.find((e) => e.name === 'CoinText');
  assert.ok(text && text.text === 'Coins: 3' && text.shown, JSON.stringify(info.elements2D));
  const ball = info.objects.find((o) => o.name === 'Ball');
  const copy = info.objects.find((o) => o.name === 'Ball2');
  assert.equal(ball.nodeId, `n${ballId}`);
  assert.match(copy.nodeId, /^c\d+$/);
  assert.equal(copy.cloneOf, `n${ballId}`);
  assert.equal(copy.id, ball.id, 'a clone keeps its element\'s id');
  assert.ok(ball.velocity[1] < -4 && ball.position[1] < 3.5, `the ball falls: ${JSON.stringify(ball)}`);

  // A live edit sets the running variable; the game goes on from where it was.
  const live = await callOk('apply_edits', {
    live: true,
    ops: [{ op: 'update', id: idOf((await gameXml()).xml, 'Var', 'coins'), attrs: { value: '7' } }],
  });
  assert.match(live, /^Applied live\. .*without a restart \(status: paused\)/s);
  await callOk('run_game', { runSeconds: 0.25, wait: true });
  info = JSON.parse(await callOk('get_scene_info'));
  assert.equal(info.variables.coins, 7);
  assert.equal(info.elements2D.find((e) => e.name === 'CoinText').text, 'Coins: 7');
  assert.equal(info.gameTime, 0.75, 'no restart: game time went on');
  assert.match(await callError('apply_edits', { live: true, ops: [{ op: 'delete', id: ballId }] }),
    /^Live mode changes attribute values only: operation 1 is 'delete'/);

  // The same span from the start catches the falling ball at the same height every time.
  const heights = [];
  for (let run = 0; run < 3; ++run) {
    await callOk('stop_game');
    await settled('stopped');
    await callOk('run_game', { runSeconds: 0.6, wait: true });
    const fallen = (JSON.parse(await callOk('get_scene_info'))).objects.find((o) => o.name === 'Ball');
    heights.push(fallen.position[1]);
  }
  assert.ok(heights.every((h) => Math.abs(h - heights[0]) < 1e-3), `the same height on every run: ${heights}`);
  // 0.6 s of free fall from 4 m: about 4 - 9.81 * 0.6² / 2 = 2.23 (still above the ground).
  assert.ok(heights[0] > 1.9 && heights[0] < 2.6, `0.6 s of falling from 4: ${heights[0]}`);

  await callOk('stop_game');
  await settled('stopped');
  const after = await gameXml();
  assert.match(await callOk('apply_edits', {
    baseRevision: after.revision,
    ops: ['Var', 'Text2D', 'Sphere', 'OnStart'].map((tag) => ({ op: 'delete', id: idOf(after.xml, tag) })),
  }), /^Applied\./);
  await settled('stopped');
});

test('save_project_as local, edit, open_project refuses then opens with force, list_projects', async () => {
  const saved = await gameXml();
  const reply = await call('save_project_as', { name: SAVED_PROJECT, location: 'local' });
  assert.ok(!reply.isError, `save_project_as failed: ${textOf(reply)}`);
  const record = await operationOutcome('save_project_as');
  assert.equal(record.state, 'done', JSON.stringify(record));
  const file = path.join(dataRoot, 'data', 'projects', SAVED_PROJECT, 'src.xml');
  assert.ok(existsSync(file), `${file} was written`);
  assert.match(readFileSync(file, 'utf8'), /backgroundColor="0xF2F2F2"/);
  assert.equal((await status()).projectName, SAVED_PROJECT);

  await callOk('apply_edits', {
    baseRevision: saved.revision,
    ops: [{ op: 'update', id: idOf(saved.xml, 'Level'), attrs: { backgroundColor: '0x101010' } }],
  });
  await settled('stopped');
  assert.match((await gameXml()).xml, /backgroundColor="0x101010"/);

  const refused = await callError('open_project', { nameOrId: SAVED_PROJECT, location: 'local' });
  assert.match(refused, /unsaved/i);
  const opening = await call('open_project', { nameOrId: SAVED_PROJECT, location: 'local', force: true });
  assert.ok(!opening.isError, `open_project failed: ${textOf(opening)}`);
  assert.equal((await operationOutcome('open_project')).state, 'done');
  await settled('stopped');
  const reopened = await gameXml();
  assert.match(reopened.xml, /backgroundColor="0xF2F2F2"/);
  assert.doesNotMatch(reopened.xml, /0x101010/);
  // Ids and the session marks of agent edits (_aiChange) belong to the agent form, not the file.
  const plain = (xml) => xml.replace(/ (id|_aiChange)="[^"]*"/g, '');
  assert.equal(plain(reopened.xml), plain(saved.xml), 'the reopened game is the text that was saved');

  const projects = JSON.parse(await callOk('list_projects'));
  assert.ok(projects.local.includes(SAVED_PROJECT), JSON.stringify(projects));
});

test('export_game for linux delivers a folder and an archive, with the progress scale on the way; windows says what is missing', async () => {
  const reply = await call('export_game', { platform: 'linux', appName: 'E2E Game' });
  assert.ok(!reply.isError, `export_game failed: ${textOf(reply)}`);
  const seen = [];
  const record = await waitFor('export_game to finish', async () => {
    const r = JSON.parse(await callOk('get_operation_status'));
    assert.equal(r.operation, 'export_game');
    if (r.state !== 'running') return r;
    seen.push([r.progress, r.stage]);
    return null;
  }, 180000);
  assert.equal(record.state, 'done', JSON.stringify(record));
  const archive = path.join(dataRoot, 'exports', 'E2E Game-linux.tar.gz');
  assert.equal(record.result, archive);
  assert.ok(existsSync(archive), `${archive} was written`);
  assert.ok(existsSync(path.join(dataRoot, 'exports', 'E2E Game-linux', 'game', 'bin.dat')));
  assert.ok(existsSync(path.join(dataRoot, 'exports', 'E2E Game-linux', 'AppRun')));
  for (let i = 1; i < seen.length; ++i)
    assert.ok(seen[i][0] >= seen[i - 1][0], `progress only grows: ${JSON.stringify(seen)}`);
  for (const [fraction, stage] of seen)
    assert.ok(typeof fraction === 'number' && fraction >= 0 && fraction <= 1 && stage !== undefined, JSON.stringify(seen));

  await callOk('export_game', { platform: 'windows', appName: 'E2E Game' });
  const windows = await operationOutcome('export_game');
  assert.equal(windows.state, 'failed', JSON.stringify(windows));
  assert.match(windows.error, /No Windows runtime template is available/);
  assert.ok(!existsSync(path.join(dataRoot, 'exports', 'E2E Game-windows.zip')));
});

// --- through the stdio bridge ------------------------------------------------------------------

test('the same client through lmd-mcp over stdio', async () => {
  const stdioClient = new Client({ name: 'lumenda3d-e2e-stdio', version: '1.0.0' });
  const transport = new StdioClientTransport({ command: bridge, args: ['--port', String(port)], stderr: 'pipe' });
  try {
    await stdioClient.connect(transport);
    assert.equal(stdioClient.getServerVersion().name, 'lumenda3d-editor');
    const { tools } = await stdioClient.listTools();
    assert.deepEqual(tools.map((t) => t.name), EXPECTED_TOOLS);
    const result = await stdioClient.callTool({ name: 'get_status', arguments: {} });
    assert.ok(!result.isError);
    assert.equal(JSON.parse(textOf(result)).playStatus, 'stopped');
  } finally {
    await stdioClient.close();
  }
});

test('lmd-mcp with no editor answers initialize with a JSON-RPC error', async () => {
  const lonely = new Client({ name: 'lumenda3d-e2e-lonely', version: '1.0.0' });
  const transport = new StdioClientTransport({ command: bridge, args: ['--port', String(freePort)], stderr: 'pipe' });
  // A hang guard, not a speed test: the bridge must answer rather than wait for an editor.
  const guard = new Promise((_, reject) => setTimeout(() => reject(new Error('lmd-mcp did not answer')), 20000).unref());
  try {
    await assert.rejects(Promise.race([lonely.connect(transport), guard]), (error) => {
      assert.equal(error.code, -32000, String(error));
      assert.match(error.message, new RegExp(`not reachable at http://127\\.0\\.0\\.1:${freePort}/mcp`));
      assert.match(error.message, /--mcp on --mcp-port/);
      return true;
    });
  } finally {
    await lonely.close().catch(() => {});
  }
});
