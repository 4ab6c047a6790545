// The editor and the cloud server end to end, driven by the official MCP client as an agent would:
// a real lumenda3d-cloud on loopback (SQLite in a temporary folder), a user who registered and
// logged in through the server's API, and that login stored where the editor reads it (the
// "lumenda3d_token" entry of the data root). Editor A saves the game to the cloud and saves an
// edit; editor B, started afresh with a data root of its own, opens the project by id, shows the
// saved game and lists it among the user's cloud projects. run-cloud-e2e.sh starts this file.
//
// Environment: LMD_EDITOR (lumenda3d), LMD_CLOUD (lumenda3d-cloud), LMD_E2E_GAME (the game file),
// LMD_E2E_ARTIFACTS (folder for screenshots), LMD_E2E_WORK (a fresh temporary folder).
import { test, after } from 'node:test';
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync, existsSync, createWriteStream } from 'node:fs';
import net from 'node:net';
import path from 'node:path';
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

const editorExe = process.env.LMD_EDITOR;
const cloudExe = process.env.LMD_CLOUD;
const gameFile = process.env.LMD_E2E_GAME;
const artifacts = process.env.LMD_E2E_ARTIFACTS || '';
const work = process.env.LMD_E2E_WORK;
assert.ok(editorExe && cloudExe && gameFile && work, 'run this through run-cloud-e2e.sh');

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const children = [];
after(async () => {
  for (const child of children.reverse()) await stop(child);
});

async function waitFor(what, probe, limitMs = 30000) {
  const end = Date.now() + limitMs;
  while (Date.now() < end) {
    const value = await probe();
    if (value) return value;
    await sleep(150);
  }
  assert.fail(`gave up waiting for ${what}`);
}

function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.on('error', reject);
    server.listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

function listening(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, '127.0.0.1');
    socket.on('connect', () => { socket.destroy(); resolve(true); });
    socket.on('error', () => resolve(false));
  });
}

function start(name, command, args, env) {
  const log = createWriteStream(path.join(work, `${name}.log`));
  const child = spawn(command, args, { env: { ...process.env, ...env }, stdio: ['ignore', 'pipe', 'pipe'] });
  child.stdout.pipe(log);
  child.stderr.pipe(log);
  child.logName = name;
  child.exited = new Promise((resolve) => child.on('exit', (code, signal) => resolve({ code, signal })));
  children.push(child);
  return child;
}

async function stop(child) {
  if (child.exitCode !== null || child.signalCode !== null) return;
  child.kill('SIGTERM');
  const ended = await Promise.race([child.exited, sleep(8000).then(() => null)]);
  if (!ended) child.kill('SIGKILL');
  await child.exited;
}

function showLog(name) {
  const file = path.join(work, `${name}.log`);
  return existsSync(file) ? readFileSync(file, 'utf8').split('\n').filter((l) => !l.startsWith('ALSA')).slice(-30).join('\n') : '';
}

// --- the cloud server and the user ----------------------------------------------------------------

let server = '';
let token = '';
const USER = 'e2e-agent-user';

async function api(method, route, body, bearer) {
  const headers = { 'Content-Type': 'application/json' };
  if (bearer) headers.Authorization = `Bearer ${bearer}`;
  const res = await fetch(`${server}${route}`, { method, headers, body: body ? JSON.stringify(body) : undefined });
  return { status: res.status, json: await res.json().catch(() => null) };
}

// A data root whose agent permissions are Approve and whose stored login is the user's.
function dataRoot(name, session) {
  const root = path.join(work, name);
  mkdirSync(path.join(root, 'config', 'lmdEditor'), { recursive: true });
  writeFileSync(path.join(root, 'config', 'lmdEditor', 'settings.txt'),
    JSON.stringify({ mcpPermRun: 1, mcpPermProjects: 1, mcpPermExport: 1, mcpPermInput: 1 }));
  if (session)
    writeFileSync(path.join(root, 'config', 'lumenda3d_token.txt'),
      JSON.stringify({ token: session, username: USER, server }), { mode: 0o600 });
  return root;
}

// --- one editor with its MCP client -------------------------------------------------------------

async function startEditor(name, root, args) {
  const port = await freePort();
  const child = start(name, editorExe, ['--mcp', 'on', '--mcp-port', String(port), ...args], {
    LUMENDA3D_HOME: root,
    LUMENDA3D_SERVER: server,
    XDG_CACHE_HOME: path.join(root, 'xdg-cache'),
  });
  await waitFor(`${name}'s agent server`, async () => {
    if (child.exitCode !== null) assert.fail(`${name} ended early:\n${showLog(name)}`);
    return listening(port);
  });
  const client = new Client({ name: `lumenda3d-cloud-e2e-${name}`, version: '1.0.0' });
  await client.connect(new StreamableHTTPClientTransport(new URL(`http://127.0.0.1:${port}/mcp`)));
  return { child, client, name };
}

async function callTool(editor, name, args = {}) {
  const result = await editor.client.callTool({ name, arguments: args });
  assert.ok(Array.isArray(result.content) && result.content[0]?.type === 'text', JSON.stringify(result));
  return { isError: result.isError === true, text: result.content[0].text };
}

async function callOk(editor, name, args = {}) {
  const r = await callTool(editor, name, args);
  assert.ok(!r.isError, `${name} failed: ${r.text}`);
  return r.text;
}

async function finished(editor, name) {
  return waitFor(`${name} to finish`, async () => {
    const record = JSON.parse(await callOk(editor, 'get_operation_status'));
    assert.equal(record.operation, name);
    return record.state === 'running' ? null : record;
  });
}

function plainXml(text) {
  const body = text.replace(/^revision: [0-9a-f]{16}  \([^)]*\)\n\n/, '');
  return body.replace(/ (id|_aiChange)="[^"]*"/g, '');
}

async function screenshot(editor, label) {
  const result = await editor.client.callTool({ name: 'get_screenshot', arguments: { width: 960, height: 600, includeOverlay: true } });
  assert.ok(!result.isError, JSON.stringify(result.content));
  if (artifacts) {
    mkdirSync(artifacts, { recursive: true });
    writeFileSync(path.join(artifacts, `cloud-e2e-${label}.jpg`), Buffer.from(result.content[0].data, 'base64'));
  }
}

// --- the steps ------------------------------------------------------------------------------------

let projectId = '';
let savedXml = '';

test('a cloud server runs and a user logs in through its API', async () => {
  const port = await freePort();
  const cloud = start('cloud', cloudExe, ['--db', `sqlite:${path.join(work, 'cloud.sqlite3')}`, '--listen',
    `127.0.0.1:${port}`, '--no-seed', '--argon2-ops', '1', '--argon2-mem-kib', '8192']);
  server = `http://127.0.0.1:${port}`;
  await waitFor('the cloud server', async () => {
    if (cloud.exitCode !== null) assert.fail(`lumenda3d-cloud ended early:\n${showLog('cloud')}`);
    return listening(port);
  });
  const registered = await api('POST', '/api/auth/register', { username: USER, password: 'correct horse battery' });
  assert.equal(registered.status, 201, JSON.stringify(registered.json));
  const login = await api('POST', '/api/auth/login', { username: USER, password: 'correct horse battery' });
  assert.equal(login.status, 200);
  token = login.json.token;
  assert.match(token, /^[0-9a-f]{64}$/);
});

test('editor A saves the game to the cloud, then saves an edit', async () => {
  const editor = await startEditor('editor-a', dataRoot('home-a', token), [gameFile]);
  try {
    // Logged in, with nothing in the cloud yet.
    await callOk(editor, 'list_projects');
    const empty = await finished(editor, 'list_projects');
    assert.equal(empty.state, 'done', JSON.stringify(empty));
    assert.deepEqual(empty.result.projects, []);
    const reply = await callOk(editor, 'save_project_as', { name: 'Cloud Runner', location: 'cloud' });
    assert.match(reply, /poll get_operation_status|created cloud project/);
    const created = await finished(editor, 'save_project_as');
    assert.equal(created.state, 'done', JSON.stringify(created));
    const match = /^created cloud project 'Cloud Runner' \(resource (\d+)\)$/.exec(created.result);
    assert.ok(match, created.result);
    projectId = match[1];
    assert.equal(JSON.parse(await callOk(editor, 'get_status')).projectName, 'Cloud Runner');

    const current = await callOk(editor, 'get_game_xml');
    const revision = /^revision: ([0-9a-f]{16})/.exec(current)[1];
    const level = /<Level\b[^>]*\bid="(\d+)"/.exec(current)[1];
    await callOk(editor, 'apply_edits', { baseRevision: revision, ops: [{ op: 'update', id: level, attrs: { backgroundColor: '0x3A1F5C' } }] });
    await callOk(editor, 'save_project');
    const saved = await finished(editor, 'save_project');
    assert.equal(saved.state, 'done', JSON.stringify(saved));
    assert.equal(saved.result, `saved to the cloud (resource ${projectId})`);
    savedXml = plainXml(await callOk(editor, 'get_game_xml'));
    assert.match(savedXml, /backgroundColor="0x3A1F5C"/);

    // The server holds that text, as revision 2.
    const onServer = await api('GET', `/api/resources/${projectId}`, null, token);
    assert.equal(onServer.status, 200);
    assert.equal(onServer.json.revision, 2);
    assert.equal(onServer.json.xml.replace(/ _aiChange="[^"]*"/g, ''), savedXml);
    await screenshot(editor, 'a-saved');
  } finally {
    await editor.client.close().catch(() => {});
    await stop(editor.child);
  }
});

test('editor B, started afresh, opens the project by id and lists it', async () => {
  const editor = await startEditor('editor-b', dataRoot('home-b', token), []);
  try {
    // Another user's project, or one that does not exist, is refused in the server's words.
    await callOk(editor, 'open_project', { nameOrId: '999999', location: 'cloud', force: true });
    const missing = await finished(editor, 'open_project');
    assert.equal(missing.state, 'failed');
    assert.equal(missing.error, 'No such project, or it is not yours.');

    await callOk(editor, 'open_project', { nameOrId: projectId, location: 'cloud', force: true });
    const opened = await finished(editor, 'open_project');
    assert.equal(opened.state, 'done', JSON.stringify(opened));
    assert.equal(opened.result, "opened 'Cloud Runner'");
    assert.equal(plainXml(await callOk(editor, 'get_game_xml')), savedXml);
    const status = JSON.parse(await callOk(editor, 'get_status'));
    assert.equal(status.projectName, 'Cloud Runner');
    assert.equal(status.resourceId, projectId);

    const listed = JSON.parse(await callOk(editor, 'list_projects'));
    const cloud = listed.cloud === undefined || typeof listed.cloud === 'string'
      ? (await finished(editor, 'list_projects')).result
      : listed.cloud;
    const entry = cloud.projects.find((p) => p.resource_id === projectId);
    assert.ok(entry, JSON.stringify(cloud));
    assert.equal(entry.resource_name, 'Cloud Runner');
    assert.equal(entry.revision, 2);

    const assets = await callOk(editor, 'list_user_assets', { assetType: 'textures' });
    const assetsDone = /poll/.test(assets) ? (await finished(editor, 'list_user_assets')).result : JSON.parse(assets);
    assert.deepEqual(assetsDone.assets, []);
    await sleep(500);   // a few frames for the reopened scene
    await screenshot(editor, 'b-opened');
  } finally {
    await editor.client.close().catch(() => {});
    await stop(editor.child);
  }
});

test('a session the server has ended makes the agent ask for a login', async () => {
  const ended = await api('POST', '/api/auth/logout', {}, token);
  assert.equal(ended.status, 200);
  const editor = await startEditor('editor-c', dataRoot('home-c', token), []);
  try {
    await callOk(editor, 'open_project', { nameOrId: projectId, location: 'cloud', force: true });
    const refused = await finished(editor, 'open_project');
    assert.equal(refused.state, 'failed');
    assert.match(refused.error, /^Not logged in, or the login has ended — .*Ask the user to log in/);
    // The ended session is forgotten: the next cloud call says so at once.
    const next = await callTool(editor, 'save_project_as', { name: 'Again', location: 'cloud' });
    assert.ok(next.isError);
    assert.match(next.text, /logged in/);
  } finally {
    await editor.client.close().catch(() => {});
    await stop(editor.child);
  }
});
