"use strict";
// The dump viewer. The page holds the dump's bytes and an index of its records (calls, banners,
// frame boundaries), both gzip-compressed. The frame list, the call list and the chart come from
// the index alone; the text is unpacked behind them and a call's lines are decoded and laid out
// as a tree only when the call is opened. Lists draw only the rows in view, so a dump of any size
// costs the same to scroll.
(() => {
  const ROW = 22;                 // height of a list row, px
  const CALL = 0, BANNER = 1, BOUNDARY = 2, OUTPUT = 3;
  const SERIES = 8;               // names that get a colour of their own in the chart
  const COLORS = ["#4e79a7", "#f28e2b", "#59a14f", "#e15759", "#76b7b2", "#edc948", "#b07aa1", "#ff9da7"];
  const OTHER = "#c9ccd0";
  const EXPAND_ALL_LIMIT = 20000; // lines that "expand all" opens at most

  const $ = (id) => document.getElementById(id);
  const meta = JSON.parse($("tov-meta").textContent);
  const names = meta.names;
  const F = meta.frames;
  const viewer = { state: "loading", timings: {}, meta };
  window.tovViewer = viewer;       // for tests and the curious

  let idx = null;                  // the record columns
  let dump = null;                 // the dump's bytes, once unpacked
  let frameFirst = null;           // first record of each frame, and the record count behind the last
  let match = null;                // per name: 1 if it matches the query; null: no query
  let rows = new Int32Array(0);    // list rows: a record, or -1 - f for the heading of frame f
  let rowOfRecord = null, rowOfFrame = null, frameCounts = null;
  let hits = new Int32Array(0);    // rows of the calls that match the query
  let current = -1;                // the match last jumped to, as an index into hits
  let topFrame = 0;                // the frame at the top of the call list
  const decoder = new TextDecoder();

  function setState(s) {
    viewer.state = s;
    document.body.dataset.state = s;
  }

  function el(tag, cls, text) {
    const e = document.createElement(tag);
    if (cls) e.className = cls;
    if (text !== undefined) e.textContent = text;
    return e;
  }

  // --- unpacking -------------------------------------------------------------------------------
  async function unpack(id) {
    const holder = $(id);
    const b64 = holder.textContent.trim();
    holder.textContent = "";
    let packed;
    try {
      packed = await (await fetch("data:application/octet-stream;base64," + b64)).arrayBuffer();
    } catch (e) {
      const bin = atob(b64);
      packed = new Uint8Array(bin.length);
      for (let i = 0; i < bin.length; i++) packed[i] = bin.charCodeAt(i);
    }
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
    return new Uint8Array(await new Response(stream).arrayBuffer());
  }

  function readIndex(buf) {
    const head = new DataView(buf.buffer, buf.byteOffset, 8);
    const n = head.getUint32(0, true);
    const column = (k) => new Uint32Array(buf.buffer, buf.byteOffset + 8 + 4 * n * k, n);
    return {
      n, size: head.getUint32(4, true), offset: column(0), line: column(1), frame: column(2),
      name: column(3), kind: new Uint8Array(buf.buffer, buf.byteOffset + 8 + 16 * n, n),
    };
  }

  function recordText(rec, tailOnly) {
    const end = rec + 1 < idx.n ? idx.offset[rec + 1] : idx.size;
    const start = tailOnly ? Math.max(idx.offset[rec], end - 2048) : idx.offset[rec];
    return decoder.decode(dump.subarray(start, end));
  }

  // The result of a call, from its last line: "VK_SUCCESS", "0", "IS NYI".
  function resultOf(rec) {
    const text = recordText(rec, true).replace(/\n$/, "");
    const line = text.slice(text.lastIndexOf("\n") + 1);
    if (!line.startsWith("= ")) return "";
    const at = line.indexOf(" RESULT ");
    return at < 0 ? "" : line.slice(at + 8).replace(/^:? */, "").replace(/, $/, "");
  }

  // --- query -----------------------------------------------------------------------------------
  function compile(query) {
    const tests = query.split(",").map((s) => s.trim()).filter(Boolean).map((p) => {
      if (/[*?]/.test(p)) {
        const re = new RegExp("^" + p.replace(/[.+^${}()|[\]\\]/g, "\\$&")
          .replace(/\*/g, ".*").replace(/\?/g, ".") + "$", "i");
        return (s) => re.test(s);
      }
      const part = p.toLowerCase();
      return (s) => s.toLowerCase().includes(part);
    });
    if (!tests.length) return null;
    return Uint8Array.from(names, (s) => (tests.some((t) => t(s)) ? 1 : 0));
  }

  function isHit(rec) {
    return idx.kind[rec] === CALL && (!match || match[idx.name[rec]] === 1);
  }

  function buildRows() {
    const filtering = match !== null && $("filter").checked;
    const out = new Int32Array(idx.n + F);
    const hitRows = [];
    rowOfRecord = new Int32Array(idx.n).fill(-1);
    rowOfFrame = new Int32Array(F).fill(-1);
    frameCounts = new Uint32Array(F);
    let r = 0;
    for (let f = 0; f < F; f++) {
      if (!filtering) rowOfFrame[f] = r, out[r++] = -1 - f;
      for (let i = frameFirst[f]; i < frameFirst[f + 1]; i++) {
        const hit = isHit(i);
        if (filtering && !hit) continue;
        if (rowOfFrame[f] < 0) rowOfFrame[f] = r, out[r++] = -1 - f;
        if (hit) {
          frameCounts[f]++;
          if (match) hitRows.push(r);
        }
        rowOfRecord[i] = r;
        out[r++] = i;
      }
    }
    rows = out.subarray(0, r);
    hits = Int32Array.from(hitRows);
    current = -1;
    dropRows();
  }

  // --- the call list: rows of one height, except the opened calls ------------------------------
  const callsEl = $("calls");
  const spacer = el("div", "spacer");
  callsEl.append(spacer);
  const opened = new Map();        // record -> {el, h}
  let tall = [];                   // opened calls among the rows: {row, o}, in row order
  const resized = new ResizeObserver((entries) => {
    for (const e of entries) {
      // A row scrolled out of view is out of the document: it keeps the height it had.
      const o = e.target.opened, h = e.target.offsetHeight;
      if (o && e.target.isConnected && h > 0) o.h = h;
    }
    queueRender();
  });

  function layoutTall() {
    tall = [];
    for (const [rec, o] of opened) if (rowOfRecord[rec] >= 0) tall.push({ row: rowOfRecord[rec], o });
    tall.sort((a, b) => a.row - b.row);
  }
  function rowTop(row) {
    let y = row * ROW;
    for (const t of tall) {
      if (t.row >= row) break;
      y += t.o.h - ROW;
    }
    return y;
  }
  function rowAt(y) {
    let extra = 0;
    for (const t of tall) {
      const top = t.row * ROW + extra;
      if (y < top) break;
      if (y < top + t.o.h) return t.row;
      extra += t.o.h - ROW;
    }
    return Math.max(0, Math.min(rows.length - 1, Math.floor((y - extra) / ROW)));
  }
  function rowHeight(row) {
    const o = rows[row] >= 0 && opened.get(rows[row]);
    return o ? o.h : ROW;
  }
  function frameOfRow(row) {
    const v = rows[row];
    return v === undefined ? 0 : v < 0 ? -1 - v : idx.frame[v];
  }

  let queued = false;
  function queueRender() {
    if (queued) return;
    queued = true;
    requestAnimationFrame(() => {
      queued = false;
      render();
    });
  }

  // The rows in the document, by row. A row that stays in view keeps its element, so that the
  // element under the pointer is never taken out between a press and its release.
  let rowEls = new Map();
  function dropRows() {
    rowEls = new Map();
    spacer.replaceChildren();
  }

  function render() {
    if (!idx) return;
    spacer.style.height = rows.length * ROW + tall.reduce((s, t) => s + t.o.h - ROW, 0) + "px";
    const y0 = callsEl.scrollTop;
    const y1 = y0 + callsEl.clientHeight + 300;
    const shown = new Map();
    let r = rowAt(Math.max(0, y0 - 300));
    for (let y = rowTop(r); r < rows.length && y < y1; y += rowHeight(r), r++) {
      const row = rowEls.get(r) || rowElement(r);
      row.style.top = y + "px";
      if (row.parentNode !== spacer) spacer.append(row);
      shown.set(r, row);
    }
    for (const [at, row] of rowEls) if (shown.get(at) !== row) row.remove();
    rowEls = shown;
    const here = rows.length ? frameOfRow(rowAt(y0)) : 0;
    if (here !== topFrame) {
      topFrame = here;
      // Keep the frame in the frame list's view.
      const y = topFrame * ROW;
      if (y < navEl.scrollTop || y + ROW > navEl.scrollTop + navEl.clientHeight) {
        navEl.scrollTop = y - navEl.clientHeight / 3;
      }
      renderNav();
      drawMarker();
    }
  }

  function rowElement(r) {
    const v = rows[r];
    if (v < 0) {
      const f = -1 - v;
      const count = frameCounts[f];
      return el("div", "row vrow frame",
        `Frame ${f}  \u00b7  ${count} ${match ? "matching " : ""}call${count === 1 ? "" : "s"}`);
    }
    const o = opened.get(v);
    if (o) return o.el;
    const kind = idx.kind[v];
    if (kind === CALL) {
      const row = el("div", "row vrow call");
      row.dataset.rec = v;
      fillCallHead(row, v, false);
      return row;
    }
    const row = el("div", "row vrow marker" + (kind === BOUNDARY ? " boundary" : kind === OUTPUT ? " output" : ""));
    row.textContent = dump ? recordText(v).replace(/\n$/, "") :
      kind === BOUNDARY ? "Frame Boundary" : kind === BANNER ? "(banner)" : "(program output)";
    row.title = `line ${idx.line[v]}`;
    return row;
  }

  function fillCallHead(row, rec, isOpen) {
    row.classList.toggle("hit", match !== null && isHit(rec));
    row.classList.toggle("current", current >= 0 && rows[hits[current]] === rec);
    row.append(el("span", "tw", isOpen ? "\u25be" : "\u25b8"), el("span", "no", `#${rec}`),
      el("span", "name", names[idx.name[rec]]));
    if (dump) {
      const res = resultOf(rec);
      if (res) row.append(el("span", "res", "\u2192 " + res));
    }
    row.title = `line ${idx.line[rec]}, frame ${idx.frame[rec]}`;
  }

  function scrollToRow(r) {
    callsEl.scrollTop = rowTop(r);
    render();
  }

  // --- an opened call: its lines as a tree -----------------------------------------------------
  let waiting = [];                // opened before the text was unpacked

  function toggleCall(rec) {
    const o = opened.get(rec);
    if (o) {
      resized.unobserve(o.el);
      opened.delete(rec);
    } else {
      const row = el("div", "row call open");
      row.dataset.rec = rec;
      const head = el("div", "vrow head call");
      fillCallHead(head, rec, true);
      const tools = el("span", "tools");
      const all = el("button", "", "expand all");
      all.dataset.act = "expand";
      const none = el("button", "", "collapse all");
      none.dataset.act = "collapse";
      tools.append(all, " ", none);
      head.append(tools);
      const tree = el("div", "tree", "Unpacking the dump...");
      row.append(head, tree);
      const entry = { el: row, h: ROW };
      row.opened = entry;
      opened.set(rec, entry);
      resized.observe(row);
      if (dump) fillTree(tree, rec); else waiting.push([tree, rec]);
    }
    const at = rowOfRecord[rec];
    rowEls.get(at)?.remove();
    rowEls.delete(at);
    layoutTall();
    render();
  }

  // The lines of one call by their indent. The second line of an object or a handle (one blank
  // off the indent) and the column-one NULLPTR of a null array join the line above them.
  function parseCall(text) {
    const lines = text.split("\n");
    if (lines[lines.length - 1] === "") lines.pop();
    const root = { depth: 0, kids: [] };
    const stack = [root];
    let prev = null;
    for (let i = 1; i < lines.length; i++) {
      const s = lines[i];
      const sp = s.length - s.replace(/^ +/, "").length;
      if (prev && (s === " NULLPTR" || sp % 4 === 1)) {
        prev.cont = s.slice(sp);
        continue;
      }
      if (sp === 0) {
        const node = { text: s, depth: 0, kids: [], cls: s.startsWith("= ") ? "result" : "mark" };
        if (node.cls === "result") {
          root.kids.push(node);
          stack.length = 1;
          stack.push(node);
          prev = node;
        } else {
          stack[stack.length - 1].kids.push(node);
          prev = null;
        }
        continue;
      }
      const node = { text: s.slice(sp), depth: sp >> 2, kids: [] };
      while (stack.length > 1 && stack[stack.length - 1].depth >= node.depth) stack.pop();
      stack[stack.length - 1].kids.push(node);
      stack.push(node);
      prev = node;
    }
    return root;
  }

  const TAILS = [[" NULLPTR", "null"], [": IS NYI", "nyi"], [": NYI HWND", "nyi"],
    [" void ptr, can not infer type to print", "void"]];
  function splitTail(s) {
    if (s.startsWith("void* pData : ")) return [s.slice(0, 11), s.slice(11), "text"];
    for (const [t, cls] of TAILS) if (s.endsWith(t)) return [s.slice(0, -t.length), t, cls];
    let m = /^(.*?)(: \[ (?:[^ ,\]]+, )*\])$/.exec(s) ||
      /^(.*)(: (?:-?(?:\d+(?:\.\d+)?|inf|nan)|True|False))$/.exec(s);
    if (m) return [m[1], m[2], "num"];
    m = /^(.*?)( (?:[A-Za-z_]\w*, )+)$/.exec(s);
    if (m) return [m[1], m[2], "enum"];
    return [s, "", ""];
  }

  function nodeElement(n) {
    const wrap = el("div", "n");
    const line = el("div", "l" + (n.kids.length ? " kids" : "") + (n.cls ? " " + n.cls : ""));
    line.append(el("span", "tw", n.kids.length ? "\u25b8" : ""));
    if (n.cls === "mark") {
      line.append(n.text);
    } else {
      const [label, tail, cls] = splitTail(n.text);
      line.append(el("span", "lab", label));
      if (tail) line.append(el("span", "val " + cls, tail));
      if (n.cont !== undefined) {
        line.append(el("span", "cont" + (n.cont === "NULLPTR" || n.cont === ": IS NYI" ? "" : " obj"),
          "  \u21b3 " + n.cont.trim()));
      }
    }
    wrap.append(line);
    wrap.node = n;
    return wrap;
  }

  function renderKids(container, kids) {
    const frag = document.createDocumentFragment();
    for (const n of kids) frag.append(nodeElement(n));
    container.append(frag);
  }

  function fillTree(tree, rec) {
    const root = parseCall(recordText(rec));
    tree.replaceChildren();
    if (!root.kids.length) tree.append(el("div", "l", "(no arguments, no result)"));
    renderKids(tree, root.kids);
  }

  // Opens or closes the node of a line; returns the number of lines it made.
  function setNode(wrap, open) {
    const line = wrap.firstChild;
    if (!wrap.node.kids.length) return 0;
    let kids = wrap.children[1];
    let made = 0;
    if (open && !kids) {
      kids = el("div", "k");
      renderKids(kids, wrap.node.kids);
      wrap.append(kids);
      made = wrap.node.kids.length;
    }
    if (kids) kids.hidden = !open;
    line.firstChild.textContent = open ? "\u25be" : "\u25b8";
    return made;
  }

  function setAll(container, open) {
    let budget = EXPAND_ALL_LIMIT;
    const walk = (parent) => {
      for (const wrap of parent.children) {
        if (!wrap.node || budget <= 0) continue;
        budget -= setNode(wrap, open);
        if (wrap.children[1]) walk(wrap.children[1]);
      }
    };
    walk(container);
  }

  callsEl.addEventListener("click", (ev) => {
    const button = ev.target.closest("button[data-act]");
    if (button) {
      const tree = button.closest(".open").querySelector(".tree");
      setAll(tree, button.dataset.act === "expand");
      return;
    }
    const line = ev.target.closest(".l.kids");
    if (line) {
      const wrap = line.parentNode;
      const kids = wrap.children[1];
      setNode(wrap, !kids || kids.hidden);
      return;
    }
    const row = ev.target.closest(".vrow.call, .open > .head");
    if (row) toggleCall(Number(row.closest("[data-rec]").dataset.rec));
  });

  // --- frames ----------------------------------------------------------------------------------
  const navEl = $("frames");
  const navSpacer = el("div", "spacer");
  navEl.append(navSpacer);

  function renderNav() {
    if (!idx) return;
    navSpacer.style.height = F * ROW + "px";
    const first = Math.floor(navEl.scrollTop / ROW);
    const last = Math.min(F, first + Math.ceil(navEl.clientHeight / ROW) + 2);
    const shown = [];
    for (let f = first; f < last; f++) {
      const row = el("div", "row vrow" + (f === topFrame ? " here" : ""), `Frame ${f}`);
      row.append(el("span", "count", String(frameCounts[f])));
      row.style.top = f * ROW + "px";
      row.dataset.frame = f;
      if (rowOfFrame[f] < 0) row.style.opacity = 0.45;
      shown.push(row);
    }
    navSpacer.replaceChildren(...shown);
  }

  function goToFrame(f) {
    for (; f < F; f++) {
      if (rowOfFrame[f] >= 0) {
        scrollToRow(rowOfFrame[f]);
        return;
      }
    }
  }

  navEl.addEventListener("scroll", renderNav);
  navEl.addEventListener("click", (ev) => {
    const row = ev.target.closest("[data-frame]");
    if (row) goToFrame(Number(row.dataset.frame));
  });

  // --- the chart: calls per frame, stacked by name ---------------------------------------------
  const canvas = $("chart");
  const tip = $("tip");
  let chart = null;                // what was drawn: bins, scale, series

  function drawChart() {
    markerSaved = null;
    const w = canvas.clientWidth, h = canvas.clientHeight;
    const dpr = window.devicePixelRatio || 1;
    canvas.width = Math.round(w * dpr);
    canvas.height = Math.round(h * dpr);
    const ctx = canvas.getContext("2d");
    ctx.setTransform(dpr, 0, 0, dpr, 0, 0);
    ctx.clearRect(0, 0, w, h);

    const totals = new Float64Array(names.length);
    for (let i = 0; i < idx.n; i++) if (isHit(i)) totals[idx.name[i]]++;
    const top = Array.from(names.keys()).filter((k) => totals[k] > 0)
      .sort((a, b) => totals[b] - totals[a]).slice(0, SERIES);
    const series = new Uint8Array(names.length).fill(SERIES);
    top.forEach((k, j) => { series[k] = j; });

    const left = 40, plotW = Math.max(1, w - left - 4), plotH = h - 18;
    const perBin = Math.max(1, Math.ceil(F / Math.max(1, Math.floor(plotW / 3))));
    const bins = Math.ceil(F / perBin);
    const counts = new Float64Array(bins * (SERIES + 1));
    for (let i = 0; i < idx.n; i++) {
      if (isHit(i)) counts[Math.floor(idx.frame[i] / perBin) * (SERIES + 1) + series[idx.name[i]]]++;
    }
    let most = 0;
    for (let b = 0; b < bins; b++) {
      const frames = Math.min(perBin, F - b * perBin);
      let sum = 0;
      for (let s = 0; s <= SERIES; s++) sum += (counts[b * (SERIES + 1) + s] /= frames);
      most = Math.max(most, sum);
    }
    const barW = plotW / bins;
    const scale = most ? plotH / most : 0;
    for (let b = 0; b < bins; b++) {
      let y = plotH;
      for (let s = 0; s <= SERIES; s++) {
        const v = counts[b * (SERIES + 1) + s] * scale;
        if (!v) continue;
        ctx.fillStyle = s < SERIES ? COLORS[s] : OTHER;
        ctx.fillRect(left + b * barW, y - v, Math.max(1, barW - (barW > 4 ? 1 : 0)), v);
        y -= v;
      }
    }
    ctx.fillStyle = "#6b7075";
    ctx.font = "11px system-ui, sans-serif";
    ctx.textAlign = "right";
    ctx.fillText(String(Math.round(most)), left - 6, 10);
    ctx.fillText("0", left - 6, plotH);
    ctx.textAlign = "left";
    ctx.fillText(perBin > 1 ? `frames 0 to ${F - 1}, ${perBin} a bar (calls per frame)` : `frames 0 to ${F - 1}`,
      left, h - 3);
    chart = { left, plotW, plotH, bins, perBin, barW, counts, top, most };
    viewer.chart = { bins, perBin, series: top.map((k) => names[k]), most };
    drawMarker();

    const legend = $("legend");
    legend.replaceChildren();
    top.forEach((k, j) => {
      const item = el("span", "", `${names[k]} ${totals[k]}`);
      const sw = el("i");
      sw.style.background = COLORS[j];
      item.prepend(sw);
      item.dataset.name = names[k];
      legend.append(item);
    });
    const rest = totals.reduce((a, b) => a + b, 0) - top.reduce((a, k) => a + totals[k], 0);
    if (rest > 0) {
      const item = el("span", "", `other ${rest}`);
      const sw = el("i");
      sw.style.background = OTHER;
      item.prepend(sw);
      legend.append(item);
    }
  }

  // The frame at the top of the call list, as a thin line over its bar.
  let markerSaved = null;
  function drawMarker() {
    if (!chart) return;
    const ctx = canvas.getContext("2d");
    if (markerSaved) ctx.putImageData(markerSaved.image, markerSaved.x, 0);
    const dpr = window.devicePixelRatio || 1;
    const x = Math.floor((chart.left + Math.floor(topFrame / chart.perBin) * chart.barW) * dpr);
    const width = Math.max(2, Math.ceil(dpr * 2));
    markerSaved = { x, image: ctx.getImageData(x, 0, width, canvas.height) };
    ctx.save();
    ctx.setTransform(1, 0, 0, 1, 0, 0);
    ctx.fillStyle = "rgba(224, 176, 0, 0.9)";
    ctx.fillRect(x, 0, width, Math.round(chart.plotH * dpr));
    ctx.restore();
  }

  function binAt(ev) {
    if (!chart) return -1;
    const x = ev.offsetX - chart.left;
    const b = Math.floor(x / chart.barW);
    return x < 0 || b >= chart.bins ? -1 : b;
  }
  canvas.addEventListener("mousemove", (ev) => {
    const b = binAt(ev);
    if (b < 0) {
      tip.hidden = true;
      return;
    }
    const first = b * chart.perBin, last = Math.min(F, first + chart.perBin) - 1;
    const lines = [first === last ? `Frame ${first}` : `Frames ${first} to ${last} (per frame)`];
    let sum = 0;
    for (let s = 0; s <= SERIES; s++) {
      const v = chart.counts[b * (SERIES + 1) + s];
      sum += v;
      if (v) lines.push(`${s < SERIES ? names[chart.top[s]] : "other"}: ${+v.toFixed(1)}`);
    }
    lines.splice(1, 0, `calls: ${+sum.toFixed(1)}`);
    tip.textContent = lines.join("\n");
    tip.hidden = false;
    tip.style.left = Math.min(ev.offsetX + 16, canvas.clientWidth - 220) + "px";
    tip.style.top = "8px";
  });
  canvas.addEventListener("mouseleave", () => { tip.hidden = true; });
  canvas.addEventListener("click", (ev) => {
    const b = binAt(ev);
    if (b >= 0) goToFrame(b * chart.perBin);
  });
  $("legend").addEventListener("click", (ev) => {
    const item = ev.target.closest("[data-name]");
    if (!item) return;
    $("query").value = item.dataset.name;
    applyQuery();
  });

  // --- search ----------------------------------------------------------------------------------
  function applyQuery() {
    match = compile($("query").value);
    buildRows();
    layoutTall();
    $("matches").textContent = match ? `${hits.length} matching call${hits.length === 1 ? "" : "s"}` : "";
    callsEl.scrollTop = 0;
    render();
    renderNav();
    drawChart();
  }

  function step(by) {
    if (!hits.length) return;
    current = (current + by + hits.length) % hits.length;
    const r = hits[current];
    callsEl.scrollTop = Math.max(0, rowTop(r) - 3 * ROW);
    dropRows();
    render();
    $("matches").textContent = `${current + 1} of ${hits.length} matching calls`;
  }

  let typing = 0;
  $("query").addEventListener("input", () => {
    clearTimeout(typing);
    typing = setTimeout(applyQuery, 150);
  });
  $("filter").addEventListener("change", applyQuery);
  $("search").addEventListener("submit", (ev) => ev.preventDefault());
  $("query").addEventListener("keydown", (ev) => {
    if (ev.key !== "Enter") return;
    ev.preventDefault();
    clearTimeout(typing);
    if (compile($("query").value)?.join() !== match?.join()) applyQuery();
    step(ev.shiftKey ? -1 : 1);
  });
  $("next").addEventListener("click", () => step(1));
  $("prev").addEventListener("click", () => step(-1));
  document.addEventListener("keydown", (ev) => {
    if (ev.key === "/" && document.activeElement !== $("query")) {
      ev.preventDefault();
      $("query").focus();
    }
  });
  callsEl.addEventListener("scroll", queueRender);
  window.addEventListener("resize", () => {
    if (!idx) return;
    drawChart();
    render();
    renderNav();
  });

  // --- start -----------------------------------------------------------------------------------
  async function start() {
    const t0 = performance.now();
    idx = readIndex(await unpack("tov-index"));
    frameFirst = new Uint32Array(F + 1);
    let f = 0;
    for (let i = 0; i < idx.n; i++) while (f <= idx.frame[i]) frameFirst[f++] = i;
    while (f <= F) frameFirst[f++] = idx.n;
    let calls = 0;
    for (let i = 0; i < idx.n; i++) if (idx.kind[i] === CALL) calls++;
    $("summary").textContent = `${calls} calls in ${F} frame${F === 1 ? "" : "s"}, ` +
      (meta.bytes < 1e6 ? `${Math.ceil(meta.bytes / 1e3)} kB` : `${(meta.bytes / 1e6).toFixed(1)} MB`) + " of text";
    buildRows();
    render();
    renderNav();
    drawChart();
    viewer.timings.indexed = performance.now();
    viewer.timings.indexMs = performance.now() - t0;
    setState("indexed");
    dump = await unpack("tov-dump");
    viewer.timings.text = performance.now();
    for (const [tree, rec] of waiting) fillTree(tree, rec);
    waiting = [];
    for (const o of opened.values()) {
      const head = o.el.querySelector(".head");
      const res = resultOf(Number(o.el.dataset.rec));
      if (res && !head.querySelector(".res")) head.insertBefore(el("span", "res", "\u2192 " + res), head.querySelector(".tools"));
    }
    dropRows();
    render();
    setState("ready");
  }
  start().catch((e) => {
    $("summary").textContent = "This page could not be read: " + e;
    viewer.error = String(e);
    setState("failed");
  });
})();
