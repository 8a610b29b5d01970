// Per-tab batching: at most one message per tab every 250 ms, except that a
// change the listener hears at once (a page turning audible, an element
// starting or stopping) goes out immediately with whatever is pending.

import { post } from './host.js';

const MIN_GAP_MS = 250;
const MAX_HELD = 1000;
const queues = new Map();
const held = new Map();

function queueOf(tabId) {
  let queue = queues.get(tabId);
  if (!queue) {
    queue = { changes: [], byId: new Map(), timer: 0, lastSent: 0 };
    queues.set(tabId, queue);
  }
  return queue;
}

// Later values win. Script nodes are never merged: their text must arrive
// in a change before the one carrying their page id.
function merge(queue, change) {
  const pending = change.type !== 'web-script-node' && queue.byId.get(change.id);
  if (pending) {
    Object.assign(pending, change);
    return;
  }
  const own = { ...change };
  queue.changes.push(own);
  if (own.type !== 'web-script-node') queue.byId.set(own.id, own);
}

export function enqueue(tabId, changes, urgent) {
  const queue = queueOf(tabId);
  for (const change of changes) merge(queue, change);
  if (urgent) {
    flush(tabId);
  } else if (!queue.timer) {
    const wait = Math.max(0, queue.lastSent + MIN_GAP_MS - Date.now());
    queue.timer = setTimeout(() => flush(tabId), wait);
  }
}

// The page goes first so that its elements never name a page the classifier
// has not heard of.
function flush(tabId) {
  const queue = queues.get(tabId);
  if (!queue) return;
  clearTimeout(queue.timer);
  queue.timer = 0;
  if (queue.changes.length === 0) return;
  const changes = queue.changes.filter((c) => c.type === 'web-page')
    .concat(queue.changes.filter((c) => c.type !== 'web-page'));
  queue.changes = [];
  queue.byId.clear();
  queue.lastSent = Date.now();
  if (!post(changes)) hold(changes);
}

// What the host missed is sent again in full once it answers, except what no
// full report can say: a tab that closed, an element that stopped as it
// left. Those are held, a bounded number of them, and go out first. An
// element whose first report is among the missed changes was never known.
function hold(changes) {
  for (const change of changes) {
    const { type, id, disposed, playing } = change;
    const stop = type === 'web-page' ? disposed === true : playing === false && !('pageId' in change);
    if (!stop) continue;
    held.delete(id);
    held.set(id, type === 'web-page' ? { type, id, disposed } : { type, id, playing });
    if (held.size > MAX_HELD) held.delete(held.keys().next().value);
  }
}

export function resendHeld() {
  if (held.size && post([...held.values()])) held.clear();
}

export function forget(tabId) {
  flush(tabId);
  queues.delete(tabId);
}
