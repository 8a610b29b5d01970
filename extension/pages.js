// One web-page object per tab. The first report of a page carries every
// key, later ones only what changed since.

import { pageIdOf } from './ids.js';
import { enqueue, forget } from './outbox.js';

const MAX_STRING = 8192;
const pages = new Map();
const closed = new Set();
let idPrefix = '';

const manifest = chrome.runtime.getManifest();
const browser = browserName();

function browserName() {
  const brands = (navigator.userAgentData?.brands ?? []).map((b) => b.brand);
  if (brands.includes('Microsoft Edge')) return 'edge';
  if (brands.includes('Google Chrome')) return 'chrome';
  if (brands.includes('Chromium')) return 'chromium';
  return / Edg\//.test(navigator.userAgent) ? 'edge' : 'chrome';
}

const cut = (text) => String(text ?? '').slice(0, MAX_STRING);
const now = () => Math.floor(Date.now() / 1000);

export function setIdPrefix(prefix) {
  idPrefix = prefix;
}

function keysOf(tab) {
  return {
    browser,
    extensionId: chrome.runtime.id,
    extensionVersion: manifest.version,
    tabId: tab.id,
    url: cut(tab.url || tab.pendingUrl),
    title: cut(tab.title),
    audible: Boolean(tab.audible),
    muted: Boolean(tab.mutedInfo?.muted),
    disposed: false,
  };
}

// Returns the page's id, or '' for a tab already closed.
export function reportTab(tab, full = false) {
  if (closed.has(tab.id) || tab.id === chrome.tabs.TAB_ID_NONE) return '';
  let page = pages.get(tab.id);
  if (!page) {
    page = { id: pageIdOf(idPrefix, tab.id), sent: null };
    pages.set(tab.id, page);
  }
  const keys = keysOf(tab);
  const change = { type: 'web-page', id: page.id };
  let changed = false;
  for (const [key, value] of Object.entries(keys)) {
    if (full || !page.sent || page.sent[key] !== value) {
      change[key] = value;
      changed = true;
    }
  }
  page.sent = keys;
  if (changed) {
    change.timeStamp = now();
    enqueue(tab.id, [change], 'audible' in change);
  }
  return page.id;
}

export function pageIdFor(tab) {
  return pages.get(tab.id)?.id ?? reportTab(tab);
}

// Sent for a tab this service worker never reported too: it may have been
// reported before the worker last slept, and its id has not changed.
export function disposeTab(tabId) {
  closed.add(tabId);
  pages.delete(tabId);
  enqueue(tabId, [{ type: 'web-page', id: pageIdOf(idPrefix, tabId), disposed: true, timeStamp: now() }], true);
  forget(tabId);
}
