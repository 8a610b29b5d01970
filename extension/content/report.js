// Shared by this frame's content scripts: element ids, string bounds, and
// the channel to the background, which knows the tab from the sender.
var qvReport = (() => {
  const MAX_STRING = 8192;
  const fullReporters = [];

  function newId() {
    const words = crypto.getRandomValues(new Uint32Array(4));
    if (words[0] === 0 && words[1] === 0) words[1] = 1;
    return Array.from(words, (w) => w.toString(16).padStart(8, '0'))
      .join('').replace(/^(.{16})/, '$1-');
  }

  const cut = (text, max = MAX_STRING) => String(text ?? '').slice(0, max);

  // sendMessage wakes a sleeping service worker. It throws once the add-on
  // was reloaded under this page; such an orphaned script just goes quiet.
  function send(changes, urgent) {
    if (changes.length === 0) return;
    try {
      chrome.runtime.sendMessage({ kind: 'changes', changes, urgent }).catch(() => {});
    } catch (e) {
      // Nothing to tell, nobody to tell it to.
    }
  }

  // Each reporter returns the full state of what it watches.
  function onReportAll(reporter) {
    fullReporters.push(reporter);
  }

  function reportAll() {
    const changes = [];
    for (const reporter of fullReporters) {
      try {
        changes.push(...reporter());
      } catch (e) {
        console.debug('content classifier report', e);
      }
    }
    send(changes, true);
  }

  chrome.runtime.onMessage.addListener((message) => {
    if (message?.kind === 'report-all') reportAll();
  });
  // A page back from the back-forward cache is reported as new.
  addEventListener('pageshow', (event) => { if (event.persisted) reportAll(); });

  return { newId, cut, send, onReportAll };
})();
