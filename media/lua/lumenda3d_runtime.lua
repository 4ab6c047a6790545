-- The Lua runtime library of Lumenda3D games.
--
-- LmdLuaRuntime (src/engine/LmdLuaRuntime.cpp) loads this file into a fresh Lua state, hands it
-- the scene's bindings with R._bind, and runs the translated game chunk with R as its argument.
-- The chunk registers its levels, variables, functions, texts and event handlers here; the
-- engine then drives the game with R.start, R.update, R.pressKey, R.releaseKey, R.click, R.collision,
-- R.joystick, R.forget and R.stop. docs/game-logic-runtime.md describes the whole.
--
-- Every handler runs through H.run, which calls it under the error handler and the instruction
-- budget: an error in one handler is logged with its block and the others go on.

local R = {}

local H   -- the scene's bindings (C functions of LmdLuaRuntime)
local run -- H.run(fn, a, b, line): ok, result

local type, tostring, tonumber, pairs, ipairs, next = type, tostring, tonumber, pairs, ipairs, next
local floor, ceil, format, lower = math.floor, math.ceil, string.format, string.lower

R.G = {}           -- the game's variables
R.F = {}           -- the game's functions
R.dt = 0.0         -- length of the current frame in seconds
R.time = 0.0       -- seconds since the level started
R.levelName = ""   -- the running level
-- The player's pointer (set by R.pointer) and the last click (R.clickAt): screen pixels from the
-- game view's top-left, the world point under it, the object there ("" for none).
R.mouseX, R.mouseY = 0.0, 0.0
R.pointerX, R.pointerY, R.pointerZ, R.pointerObject = 0.0, 0.0, 0.0, ""
R.clickX, R.clickY, R.clickZ, R.clickObject = 0.0, 0.0, 0.0, ""
R.whileLimit = 100000 -- rounds one While may run before it is stopped

-- Maximum timer rounds in one frame: a long stall does not turn into a burst of thousands.
local kMaxTimerRounds = 100

-- ---------------------------------------------------------------- what the game chunk declares

local levels = {}      -- index -> { name, vars, funcs, parents }
local levelByName = {} -- name -> index (the first level of that name)
local inits = {}       -- scope (0: game, n: level n) -> initial-value functions in document order
local defs = {}        -- handler definitions in document order
local textDefs = {}    -- texts with placeholders: { level, owner, fn }

-- ---------------------------------------------------------------- the running game

local kinds = { "start", "update", "timer", "keydown", "keyheld", "keyup", "joystick", "click", "collision" }
local running = false
local current = 0      -- index of the running level (0: none)
local active = {}      -- kind -> list of handler instances { def, fn, self, key, with, elapsed, dead }
local texts = {}       -- object name -> { fn, last }
local tweens = {}
local held = {}        -- lower-case key name -> true while the key is down
local heldCount = 0
local sticks = {}      -- joystick name -> { x, y } while pushed
local origin = {}      -- copy name -> the object it was cloned from
local dirty = false    -- some handler instance died: the lists need compacting

local function newActive()
  local t = {}
  for _, kind in ipairs(kinds) do t[kind] = {} end
  return t
end
active = newActive()

-- ---------------------------------------------------------------- values

local function describe(v)
  local tv = type(v)
  if tv == "string" then return "the text '" .. v .. "'" end
  if tv == "nil" then return "nothing" end
  if tv == "table" then return "an array" end
  return tostring(v)
end

-- A value where a number belongs; numeric text counts as its number.
function R.num(v, what)
  if type(v) == "number" then return v end
  if type(v) == "string" then
    local n = tonumber(v)
    if n then return n end
  end
  error(format("%s needs a number, not %s", what, describe(v)), 0)
end

-- A value as text: whole numbers without a fraction, true/false, arrays as their items.
local function str(v)
  local tv = type(v)
  if tv == "string" then return v end
  if tv == "number" then
    if v == floor(v) and v > -1e15 and v < 1e15 then return format("%d", v) end
    if v ~= v then return "nan" end
    return format("%.14g", v)
  end
  if tv == "boolean" then return v and "true" or "false" end
  if tv == "nil" then return "" end
  if tv == "table" then
    local parts = {}
    for i = 1, #v do parts[i] = str(v[i]) end
    return table.concat(parts, ", ")
  end
  return tostring(v)
end
R.str = str

-- `+`: numbers add; when either side is text, the two are joined.
function R.add(a, b)
  if type(a) == "number" and type(b) == "number" then return a + b end
  if type(a) == "string" or type(b) == "string" then return str(a) .. str(b) end
  error(format("cannot add %s and %s", describe(a), describe(b)), 0)
end

-- false, 0, empty text and nothing count as false.
function R.truth(v)
  return v ~= nil and v ~= false and v ~= 0 and v ~= ""
end

function R.random(a, b)
  if a > b then a, b = b, a end
  if a == floor(a) and b == floor(b) then return math.random(floor(a), floor(b)) + 0.0 end
  return a + math.random() * (b - a)
end
function R.floor(x) return floor(x) + 0.0 end
function R.ceil(x) return ceil(x) + 0.0 end
function R.round(x) return floor(x + 0.5) + 0.0 end
function R.sqrt(x) return math.sqrt(x) end
function R.sin(x) return math.sin(math.rad(x)) end
function R.cos(x) return math.cos(math.rad(x)) end

function R.isKeyDown(name)
  if type(name) ~= "string" then error("keyDown() takes a key name such as \"Left\"", 0) end
  local key = lower(name)
  if key == "any" then return heldCount > 0 end
  return held[key] == true
end

-- ---------------------------------------------------------------- arrays (positions from 1)

local function position(a, i, name, limit)
  if type(i) ~= "number" or i ~= floor(i) or i < 1 or i > limit then
    error(format("%s has no position %s (it has %d %s)", name, str(i), #a, #a == 1 and "item" or "items"), 0)
  end
  return floor(i)
end

function R.item(a, i, name)
  local v = a[i]
  if v == nil then position(a, i, name, #a) end
  return v
end

local function notNothing(v, name)
  if v == nil then error("cannot put nothing into " .. name, 0) end
end

function R.push(a, v, name)
  notNothing(v, name)
  a[#a + 1] = v
end

-- Replaces an item; the position right after the last adds one.
function R.aset(a, i, v, name)
  notNothing(v, name)
  a[position(a, i, name, #a + 1)] = v
end

-- Removes an item; without a position, the last one (nothing happens to an empty array).
function R.aremove(a, i, name)
  if i == nil then
    a[#a] = nil
    return
  end
  table.remove(a, position(a, i, name, #a))
end

function R.aclear(a)
  for k = #a, 1, -1 do a[k] = nil end
end

-- ---------------------------------------------------------------- objects

-- Whether `name` is `key` or a copy (of a copy ...) of it.
local function isFrom(name, key)
  while name do
    if name == key then return true end
    name = origin[name]
  end
  return false
end

-- Whether `name` is `object` or stands inside it in the document.
local function isUnder(name, object)
  local parents = current > 0 and levels[current].parents or {}
  while name and name ~= "" do
    if name == object then return true end
    name = parents[name]
  end
  return false
end

function R.get(o, p) return H.get(o, p) end

function R.set(o, p, v)
  if p == "text" then texts[o] = nil end
  H.set(o, p, v)
end

function R.setText(o, s)
  texts[o] = nil
  H.set(o, "text", s)
end

-- A text with placeholders keeps following its values until the next text replaces it.
function R.bindText(o, fn)
  local s = fn(o)
  H.set(o, "text", s)
  texts[o] = { fn = fn, last = s }
end

local function applyText(name, t)
  local s = t.fn(name)
  if s ~= t.last then
    t.last = s
    H.set(name, "text", s)
  end
end

local function refreshTexts()
  for name, t in pairs(texts) do run(applyText, name, t) end
end

-- Forgets an object that left the scene: its handlers, texts and tweens, and those of the
-- objects inside it.
function R.forget(o)
  for _, list in pairs(active) do
    for i = 1, #list do
      local h = list[i]
      if not h.dead and h.self ~= nil and isUnder(h.self, o) then
        h.dead = true
        dirty = true
      end
    end
  end
  for name in pairs(texts) do
    if isUnder(name, o) then texts[name] = nil end
  end
  local kept = {}
  for _, tw in ipairs(tweens) do
    if not isUnder(tw.o, o) then kept[#kept + 1] = tw end
  end
  tweens = kept
end

function R.destroy(o)
  H.destroy(o)
  R.forget(o)
end

-- Copies an object. The copy gets its own instances of the handlers that are about the
-- original (events inside it with an empty target) and its text. OnStart does not run for a
-- copy: an OnStart that clones its own object would otherwise never end.
function R.clone(o, newName, x, y, z)
  local made = H.clone(o, newName, x, y, z)
  if made == nil then return nil end -- it found nothing to copy (logged; the next block runs)
  origin[made] = o
  for _, kind in ipairs(kinds) do
    local list = active[kind]
    if kind ~= "start" then
      for i = 1, #list do
        local h = list[i]
        if not h.dead and h.def.about and h.self == o then
          local key = h.key
          if (kind == "click" or kind == "collision") and key == o then key = made end
          list[#list + 1] = { def = h.def, fn = h.fn, self = made, key = key, with = h.with, elapsed = 0.0 }
        end
      end
    end
  end
  if texts[o] then texts[made] = { fn = texts[o].fn } end
  return made
end

-- ---------------------------------------------------------------- motion and tweens

local axes = {
  move = { "x", "y", "z" },
  rotate = { "rotationX", "rotationY", "rotationZ" },
  scale = { "scaleX", "scaleY", "scaleZ" },
}

local function addTween(kind, o, mode, x, y, z, duration, loc)
  if mode == "to" then
    local kept = {}
    for _, tw in ipairs(tweens) do
      if not (tw.kind == kind and tw.o == o) then kept[#kept + 1] = tw end
    end
    tweens = kept
  end
  tweens[#tweens + 1] = { kind = kind, o = o, mode = mode, v = { x, y, z }, duration = duration,
                          elapsed = 0.0, loc = loc, line = H.line() }
end

-- One frame of a tween: "by" tweens add their share of the change, "to" tweens close the
-- remaining gap in proportion to the remaining time, so they end exactly on the target.
local function stepTween(tw, dt)
  local left = tw.duration - tw.elapsed
  local step = dt < left and dt or left
  if step < 0 then step = 0 end
  local v, o = tw.v, tw.o
  if tw.mode == "to" then
    local f = left > 0 and step / left or 1
    local names = axes[tw.kind]
    for i = 1, 3 do
      local cur = R.num(H.get(o, names[i]), o .. "." .. names[i])
      H.set(o, names[i], cur + (v[i] - cur) * f)
    end
  else
    local f = step / tw.duration
    if tw.kind == "move" then
      H.translate(o, v[1] * f, v[2] * f, v[3] * f, tw.loc)
    else
      local names = axes[tw.kind]
      for i = 1, 3 do
        if v[i] ~= 0 then
          H.set(o, names[i], R.num(H.get(o, names[i]), o .. "." .. names[i]) + v[i] * f)
        end
      end
    end
  end
  tw.elapsed = tw.elapsed + step
end

local function stepTweens(dt)
  local list = tweens
  tweens = {}
  local kept = {}
  for _, tw in ipairs(list) do
    local ok = run(stepTween, tw, dt, tw.line)
    if ok and tw.elapsed < tw.duration then kept[#kept + 1] = tw end
  end
  -- tweens started while stepping (none today) go after the running ones
  for _, tw in ipairs(tweens) do kept[#kept + 1] = tw end
  tweens = kept
end

function R.move(o, x, y, z, mode, duration, loc)
  if duration > 0 then return addTween("move", o, mode, x, y, z, duration, loc) end
  if mode == "to" then
    H.set(o, "x", x); H.set(o, "y", y); H.set(o, "z", z)
  elseif x ~= 0 or y ~= 0 or z ~= 0 then
    H.translate(o, x, y, z, loc)
  end
end

function R.rotate(o, x, y, z, mode, duration)
  if duration > 0 then return addTween("rotate", o, mode, x, y, z, duration, false) end
  local names, v = axes.rotate, { x, y, z }
  for i = 1, 3 do
    if mode == "to" then
      H.set(o, names[i], v[i])
    elseif v[i] ~= 0 then
      H.set(o, names[i], R.num(H.get(o, names[i]), o .. "." .. names[i]) + v[i])
    end
  end
end

-- Scaling "by" multiplies; over a duration it becomes a tween to the product.
function R.scale(o, x, y, z, mode, duration)
  local names, v = axes.scale, { x, y, z }
  if mode == "to" then
    if duration > 0 then return addTween("scale", o, "to", x, y, z, duration, false) end
    for i = 1, 3 do H.set(o, names[i], v[i]) end
    return
  end
  local target = {}
  for i = 1, 3 do
    if v[i] ~= 1 or duration > 0 then
      target[i] = R.num(H.get(o, names[i]), o .. "." .. names[i]) * v[i]
    end
  end
  if duration > 0 then return addTween("scale", o, "to", target[1], target[2], target[3], duration, false) end
  for i = 1, 3 do
    if target[i] then H.set(o, names[i], target[i]) end
  end
end

-- ---------------------------------------------------------------- other actions

function R.print(text) H.print(str(text)) end
function R.sound(name, volume, loop) H.playSound(name, volume, loop) end
function R.stopSound(name) H.stopSound(name) end
function R.light(name, on) H.light(name, on) end
function R.anim(o, name, loop, speed) H.playAnimation(o, name, loop, speed) end
function R.stopAnim(o) H.stopAnimation(o) end
function R.lookAt(o, at) H.lookAt(o, at) end
function R.force(o, x, y, z, impulse, loc) H.force(o, x, y, z, impulse, loc) end
function R.velocity(o, x, y, z, loc) H.velocity(o, x, y, z, loc) end
function R.distance(a, b) return H.distance(a, b) end

-- Level changes wait until the current call into the runtime is over.
function R.goToLevel(name)
  if name == "" then name = R.levelName end
  H.goToLevel(name)
end

function R.whileStop()
  error(format("the While ran %d rounds without its condition becoming false and was stopped", R.whileLimit), 0)
end

-- ---------------------------------------------------------------- registration (game chunk)

function R.linemap(map) H.linemap(map) end

function R.level(index, name)
  local lv = { name = name, vars = {}, funcs = {}, parents = {} }
  levels[index] = lv
  if name ~= "" and not levelByName[name] then levelByName[name] = index end
  return lv.vars, lv.funcs
end

function R.objects(index, list)
  local parents = levels[index].parents
  for i = 1, #list, 2 do
    if list[i + 1] ~= "" then parents[list[i]] = list[i + 1] end
  end
end

function R.init(scope, fn)
  local list = inits[scope]
  if not list then list = {}; inits[scope] = list end
  list[#list + 1] = fn
end

-- def: level, kind, owner, key, with, interval, rep, about, fn
function R.on(def)
  def.key = def.key or ""
  def.with = def.with or ""
  defs[#defs + 1] = def
end

function R.text(level, owner, fn)
  textDefs[#textDefs + 1] = { level = level, owner = owner, fn = fn }
end

-- ---------------------------------------------------------------- running

local function instantiate(def)
  local list = active[def.kind]
  list[#list + 1] = { def = def, fn = def.fn, self = def.owner, key = def.key, with = def.with, elapsed = 0.0 }
end

local function compact()
  for kind, list in pairs(active) do
    local kept = {}
    for _, h in ipairs(list) do
      if not h.dead then kept[#kept + 1] = h end
    end
    active[kind] = kept
  end
  dirty = false
end

local function clear(t)
  for k in pairs(t) do t[k] = nil end
end

-- Starts a level ("" or nil: the first). The first start after loading or stop() also starts
-- the game: its variables, its sounds, its handlers and its OnStart.
function R.start(name)
  local index = 0
  if name ~= nil and name ~= "" then
    index = levelByName[name]
    if not index then error("the game has no level named '" .. name .. "'", 0) end
  elseif #levels > 0 then
    index = 1
  end
  local fresh = not running
  if fresh then
    active = newActive()
    clear(R.G)
    running = true
    for _, fn in ipairs(inits[0] or {}) do run(fn) end
    for _, def in ipairs(defs) do
      if def.level == 0 then instantiate(def) end
    end
  else
    for kind, list in pairs(active) do
      local kept = {}
      for _, h in ipairs(list) do
        if h.def.level == 0 and not h.dead then kept[#kept + 1] = h end
      end
      active[kind] = kept
    end
  end
  texts, tweens, origin = {}, {}, {}
  current = index
  R.levelName = index > 0 and levels[index].name or ""
  R.time = 0.0
  if index > 0 then
    clear(levels[index].vars)
    for _, fn in ipairs(inits[index] or {}) do run(fn) end
    for _, def in ipairs(defs) do
      if def.level == index then instantiate(def) end
    end
    for _, t in ipairs(textDefs) do
      if t.level == index then texts[t.owner] = { fn = t.fn } end
    end
  end
  local starts = active.start
  for i = 1, #starts do
    local h = starts[i]
    if not h.dead and (fresh or h.def.level ~= 0) then run(h.fn, h.self, nil) end
  end
  refreshTexts()
end

function R.stop()
  running = false
  active = newActive()
  texts, tweens, origin, sticks = {}, {}, {}, {}
  clear(held)
  heldCount = 0
  current = 0
  R.levelName = ""
end

function R.isRunning() return running end

local function fire(list, ev, match)
  for i = 1, #list do
    local h = list[i]
    if not h.dead and match(h) then run(h.fn, h.self, ev) end
  end
end

function R.update(dt)
  if not running then return end
  R.dt = dt
  R.time = R.time + dt

  local timers = active.timer
  for i = 1, #timers do
    local h = timers[i]
    if not h.dead then
      h.elapsed = h.elapsed + dt
      local interval, rounds = h.def.interval, 0
      while not h.dead and h.elapsed >= interval do
        h.elapsed = h.elapsed - interval
        run(h.fn, h.self, nil)
        if not h.def.rep then
          h.dead = true
          dirty = true
        end
        rounds = rounds + 1
        if rounds >= kMaxTimerRounds then
          h.elapsed = 0.0
          break
        end
      end
    end
  end

  if heldCount > 0 then
    fire(active.keyheld, nil, function(h) return held[h.key] or (h.key == "any") end)
  end

  if next(sticks) then
    local list = active.joystick
    for i = 1, #list do
      local h = list[i]
      if not h.dead then
        if h.key == "" then
          for _, s in pairs(sticks) do
            if not h.dead then run(h.fn, h.self, { stickX = s[1], stickY = s[2] }) end
          end
        else
          local s = sticks[h.key]
          if s then run(h.fn, h.self, { stickX = s[1], stickY = s[2] }) end
        end
      end
    end
  end

  local updates = active.update
  for i = 1, #updates do
    local h = updates[i]
    if not h.dead then run(h.fn, h.self, nil) end
  end

  stepTweens(dt)
  refreshTexts()
  if dirty then compact() end
end

function R.pressKey(name)
  local key = lower(name)
  if held[key] then return end -- a held key repeating is not a new press
  held[key] = true
  heldCount = heldCount + 1
  if not running then return end
  fire(active.keydown, nil, function(h) return h.key == key or h.key == "any" end)
  refreshTexts()
end

function R.releaseKey(name)
  local key = lower(name)
  if held[key] then
    held[key] = nil
    heldCount = heldCount - 1
  end
  if not running then return end
  fire(active.keyup, nil, function(h) return h.key == key or h.key == "any" end)
  refreshTexts()
end

-- Whether a click or collision handler is about `name`: handlers about their own object match
-- it exactly (each copy has its own), handlers naming a target also match copies of it.
local function about(h, name)
  if h.def.about then return h.key == name end
  return isFrom(name, h.key)
end

-- Where the pointer is; the 3D point keeps its last value while the pointer meets nothing.
function R.pointer(mx, my, hit, x, y, z, object)
  R.mouseX, R.mouseY = mx, my
  if hit then R.pointerX, R.pointerY, R.pointerZ = x, y, z end
  R.pointerObject = object
end

-- A click on the game view, told before its OnClick runs.
function R.clickAt(hit, x, y, z, object)
  if hit then R.clickX, R.clickY, R.clickZ = x, y, z end
  R.clickObject = object
end

function R.click(name)
  if not running then return end
  fire(active.click, nil, function(h) return about(h, name) end)
  refreshTexts()
end

function R.collision(a, b)
  if not running then return end
  local list = active.collision
  for i = 1, #list do
    local h = list[i]
    if not h.dead and about(h, a) and (h.with == "" or isFrom(b, h.with)) then
      run(h.fn, h.self, { other = b })
    end
    if not h.dead and a ~= b and about(h, b) and (h.with == "" or isFrom(a, h.with)) then
      run(h.fn, h.self, { other = a })
    end
  end
  refreshTexts()
end

function R.joystick(name, x, y)
  if x ~= 0 or y ~= 0 then sticks[name] = { x, y } else sticks[name] = nil end
end

-- A variable of the running level or the game, for tools and tests.
function R.variable(name)
  local lv = current > 0 and levels[current] or nil
  if lv and lv.vars[name] ~= nil then return lv.vars[name] end
  return R.G[name]
end

-- Gives a declared variable of the running level, else of the game, a new value (a live edit by
-- a tool); texts with placeholders follow. False when neither declares it.
function R.setVariable(name, value)
  local lv = current > 0 and levels[current] or nil
  local scope = (lv and lv.vars[name] ~= nil) and lv.vars or (R.G[name] ~= nil and R.G or nil)
  if not scope or type(scope[name]) == "table" then return false end -- arrays keep their items
  scope[name] = value
  refreshTexts()
  return true
end

-- The names of every variable the running game can read (game and running level), sorted, each
-- once (a level variable hides a game variable of the same name).
function R.variableNames()
  local seen, names = {}, {}
  local lv = current > 0 and levels[current] or nil
  for _, scope in ipairs({ R.G, lv and lv.vars or {} }) do
    for name in pairs(scope) do
      if type(name) == "string" and not seen[name] then
        seen[name] = true
        names[#names + 1] = name
      end
    end
  end
  table.sort(names)
  return names
end

function R._bind(bindings)
  H = bindings
  run = H.run
end

return R
