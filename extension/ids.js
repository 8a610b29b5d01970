// Object ids in the form the classifier parses: two 16-digit hex numbers,
// "%016llx-%016llx". A page's id is a per-run prefix and its tab id, so it
// survives a restart of the service worker without being stored anywhere.

function hex64(high, low) {
  return high.toString(16).padStart(8, '0') + low.toString(16).padStart(8, '0');
}

// Never zero, so no id can be all zeros.
export function randomHalf() {
  const words = crypto.getRandomValues(new Uint32Array(2));
  if (words[0] === 0 && words[1] === 0) words[1] = 1;
  return hex64(words[0], words[1]);
}

export function pageIdOf(prefix, tabId) {
  return `${prefix}-${tabId.toString(16).padStart(16, '0')}`;
}

export const OBJECT_ID = /^[0-9a-f]{16}-[0-9a-f]{16}$/;

// The instance id and the page id prefix live as long as the browser run:
// a new instance id makes the classifier drop every page it holds, which a
// sleeping service worker waking up must not cause.
export async function runIds() {
  const stored = await chrome.storage.session.get(['instanceId', 'idPrefix']);
  if (typeof stored.instanceId === 'string' && typeof stored.idPrefix === 'string') return stored;
  const fresh = { instanceId: crypto.randomUUID(), idPrefix: randomHalf() };
  await chrome.storage.session.set(fresh);
  return fresh;
}
