// Wires the browser's tab events and the content scripts' reports to the
// native host. Listeners are added at once, as the browser wakes a sleeping
// service worker only for events that have a listener from its first run;
// they wait for the ids loaded from session storage.

import { OBJECT_ID, runIds } from './ids.js';
import { keepTrying, startHost, status } from './host.js';
import { enqueue, resendHeld } from './outbox.js';
import { disposeTab, pageIdFor, reportTab, setIdPrefix } from './pages.js';

const ELEMENT_TYPES = new Set(['web-video-element', 'web-audio-element', 'web-script-node']);

const ready = runIds().then(({ instanceId, idPrefix }) => {
  setIdPrefix(idPrefix);
  startHost(instanceId, resendEverything);
});

const whenReady = (handler) => (...args) => {
  ready.then(() => handler(...args)).catch((e) => console.error(e));
};

// The classifier may have just started: every page in full, and every
// frame's content script reports all it watches.
async function resendEverything() {
  resendHeld();
  const tabs = await chrome.tabs.query({});
  for (const tab of tabs) reportTab(tab, true);
  for (const tab of tabs) {
    chrome.tabs.sendMessage(tab.id, { kind: 'report-all' }).catch(() => {});
  }
}

function fromContent(tab, message) {
  if (!Array.isArray(message.changes)) return;
  const pageId = pageIdFor(tab);
  if (!pageId) return;
  const changes = [];
  for (const change of message.changes) {
    if (!ELEMENT_TYPES.has(change?.type) || !OBJECT_ID.test(change.id)) continue;
    // The content script does not know its tab's page; it leaves null here.
    if ('pageId' in change) change.pageId = pageId;
    changes.push(change);
  }
  if (changes.length) enqueue(tab.id, changes, message.urgent === true);
}

chrome.runtime.onMessage.addListener((message, sender, sendResponse) => {
  if (message?.kind === 'status') {
    ready.then(() => sendResponse({ ...status }));
    return true;
  }
  if (message?.kind === 'changes' && sender.tab?.id >= 0) whenReady(fromContent)(sender.tab, message);
  return false;
});

chrome.tabs.onCreated.addListener(whenReady((tab) => reportTab(tab)));
chrome.tabs.onUpdated.addListener(whenReady((tabId, info, tab) => reportTab(tab)));
chrome.tabs.onRemoved.addListener(whenReady((tabId) => disposeTab(tabId)));
chrome.tabs.onReplaced.addListener(whenReady(async (addedId, removedId) => {
  disposeTab(removedId);
  reportTab(await chrome.tabs.get(addedId));
}));

// Timers die with a sleeping service worker; the alarm wakes it to go on
// reconnecting.
chrome.alarms.create('keep-trying', { periodInMinutes: 0.5 });
chrome.alarms.onAlarm.addListener(whenReady(() => keepTrying()));
