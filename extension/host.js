// The port to the native host. Every message gets one reply; a reply that is
// no error means the classifier is up, and when it was not up before it may
// know nothing of us, so the caller resends everything.

const HOST_NAME = 'com.quorvane.contentclassifier';
const FIRST_RETRY_MS = 1000;
const LAST_RETRY_MS = 60000;

export const status = {
  instanceId: '',
  portOpen: false,
  hostAnswers: false,
  classifierUp: false,
  lastHostId: '',
  isDefaultEndpoint: null,
  lastError: '',
  sent: 0,
  replies: 0,
  errorReplies: 0,
  reconnects: 0,
};

let port = null;
let retryMs = FIRST_RETRY_MS;
let retryTimer = 0;
let onClassifierUp = () => {};

export function startHost(instanceId, classifierUp) {
  status.instanceId = instanceId;
  onClassifierUp = classifierUp;
  // The last host id outlives a sleeping service worker, for the status page.
  chrome.storage.session.get('lastHostId').then(({ lastHostId }) => {
    if (!status.lastHostId && typeof lastHostId === 'string') status.lastHostId = lastHostId;
  });
  connect();
}

function connect() {
  clearTimeout(retryTimer);
  retryTimer = 0;
  let opened;
  try {
    opened = chrome.runtime.connectNative(HOST_NAME);
  } catch (e) {
    status.lastError = String(e?.message ?? e);
    retryLater();
    return;
  }
  port = opened;
  status.portOpen = true;
  status.hostAnswers = false;
  status.classifierUp = false;
  opened.onMessage.addListener((reply) => { if (port === opened) onReply(reply); });
  opened.onDisconnect.addListener(() => {
    status.lastError = chrome.runtime.lastError?.message ?? 'the native host went away';
    if (port !== opened) return;
    port = null;
    status.portOpen = status.hostAnswers = status.classifierUp = false;
    retryLater();
  });
  // Nothing else is posted before the host has answered this.
  hello();
}

function retryLater() {
  if (retryTimer) return;
  status.reconnects++;
  retryTimer = setTimeout(connect, retryMs);
  retryMs = Math.min(retryMs * 2, LAST_RETRY_MS);
}

function hello() {
  try {
    port.postMessage({ instanceId: status.instanceId, changes: [] });
    status.sent++;
  } catch (e) {
    status.lastError = String(e?.message ?? e);
  }
}

function onReply(reply) {
  status.replies++;
  status.hostAnswers = true;
  retryMs = FIRST_RETRY_MS;
  if (typeof reply?.error === 'string') {
    status.errorReplies++;
    status.lastError = reply.error;
    status.classifierUp = false;
    return;
  }
  if (typeof reply?.hostId === 'string' && reply.hostId !== status.lastHostId) {
    status.lastHostId = reply.hostId;
    chrome.storage.session.set({ lastHostId: reply.hostId });
  }
  if (typeof reply?.isDefaultEndpoint === 'boolean') status.isDefaultEndpoint = reply.isDefaultEndpoint;
  if (status.classifierUp) return;
  status.classifierUp = true;
  onClassifierUp();
}

// Posts once the host has answered; before that the changes are dropped, as
// the first good reply makes the caller send everything again anyway.
// Returns whether the message went out.
export function post(changes) {
  if (!port || !status.hostAnswers || changes.length === 0) return false;
  try {
    port.postMessage({ instanceId: status.instanceId, changes });
    status.sent++;
    return true;
  } catch (e) {
    status.lastError = String(e?.message ?? e);
    return false;
  }
}

// Called now and then: reconnects if a retry timer died with a sleeping
// service worker, and asks again while the classifier is down.
export function keepTrying() {
  if (!port && !retryTimer) connect();
  else if (port && status.hostAnswers && !status.classifierUp) hello();
}
