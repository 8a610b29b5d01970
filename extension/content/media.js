// Watches the frame's <video> and <audio> elements. Media events do not
// bubble but do pass the document in the capture phase, so one listener
// per event type sees every element in the document.
(() => {
  const { newId, cut, send, onReportAll } = qvReport;
  const ENDLESS = 1e9;
  const EVENTS = ['playing', 'pause', 'ended', 'emptied', 'waiting', 'durationchange',
    'loadedmetadata', 'loadstart', 'canplay'];
  const watched = new Map();

  function keysOf(element) {
    const d = element.duration;
    return {
      src: cut(element.src),
      currentSrc: cut(element.currentSrc),
      // JSON has neither NaN nor Infinity.
      duration: Number.isNaN(d) ? 0 : Number.isFinite(d) ? d : ENDLESS,
      playing: !element.paused && !element.ended && element.readyState > 2,
    };
  }

  // Returns the change for element, or null when nothing changed.
  function changeOf(element, full) {
    let entry = watched.get(element);
    if (!entry) {
      const type = element instanceof HTMLVideoElement ? 'web-video-element' : 'web-audio-element';
      entry = { id: newId(), type, sent: null };
      watched.set(element, entry);
    }
    const keys = keysOf(element);
    const change = { type: entry.type, id: entry.id };
    const first = full || !entry.sent;
    if (first) change.pageId = null;
    let changed = first;
    for (const [key, value] of Object.entries(keys)) {
      if (first || entry.sent[key] !== value) {
        change[key] = value;
        changed = true;
      }
    }
    entry.sent = keys;
    return changed ? change : null;
  }

  function report(element) {
    try {
      const before = watched.get(element)?.sent?.playing ?? false;
      const change = changeOf(element, false);
      if (change) send([change], 'playing' in change && change.playing !== before);
    } catch (e) {
      console.debug('content classifier media', e);
    }
  }

  // No change removes an element: one that leaves is reported stopped.
  function stopped(elements) {
    const changes = [];
    for (const element of elements) {
      const entry = watched.get(element);
      if (!entry) continue;
      changes.push({ type: entry.type, id: entry.id, playing: false });
      if (entry.sent) entry.sent.playing = false;
    }
    send(changes, true);
  }

  function mediaIn(node) {
    if (node instanceof HTMLMediaElement) return [node];
    return node.querySelectorAll ? node.querySelectorAll('video, audio') : [];
  }

  for (const type of EVENTS) {
    document.addEventListener(type, (event) => {
      if (event.target instanceof HTMLMediaElement) report(event.target);
    }, true);
  }

  new MutationObserver((records) => {
    let removed = false;
    for (const record of records) {
      for (const node of record.addedNodes) for (const element of mediaIn(node)) report(element);
      removed ||= record.removedNodes.length > 0;
    }
    if (!removed) return;
    const gone = [...watched.keys()].filter((element) => !element.isConnected);
    stopped(gone);
    for (const element of gone) watched.delete(element);
  }).observe(document, { childList: true, subtree: true });

  for (const element of mediaIn(document)) report(element);

  // A document that goes takes its elements along.
  addEventListener('pagehide', () => stopped(watched.keys()));

  onReportAll(() => {
    const changes = [];
    for (const element of watched.keys()) {
      try {
        changes.push(changeOf(element, true));
      } catch (e) {
        console.debug('content classifier media', e);
      }
    }
    return changes;
  });
})();
