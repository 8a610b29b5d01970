// On the video site's watch pages, the inline script holding the player's
// configuration is sent once. The classifier reads a script's text when its
// page id arrives, so the text goes in one change and the page id in a later
// one.
(() => {
  const { newId, cut, send, onReportAll } = qvReport;
  const MARKER = 'var ytplayer = ytplayer || {};ytplayer.config = ';
  const MAX_TEXT = 4 * 1024 * 1024;
  const sent = new Map();

  const onWatchPage = () => {
    const host = location.hostname;
    return (host === 'youtube.com' || host.endsWith('.youtube.com')) && location.pathname === '/watch';
  };

  function changesOf(script, id) {
    const type = 'web-script-node';
    return [{ type, id, text: cut(script.textContent, MAX_TEXT) }, { type, id, pageId: null }];
  }

  function check(script) {
    try {
      if (sent.has(script) || script.src || !onWatchPage()) return;
      if (!(script.textContent ?? '').includes(MARKER)) return;
      const id = newId();
      sent.set(script, id);
      send(changesOf(script, id), false);
    } catch (e) {
      console.debug('content classifier script', e);
    }
  }

  const scriptsIn = (node) => node instanceof HTMLScriptElement ? [node]
    : node.querySelectorAll ? node.querySelectorAll('script') : [];

  // While the parser runs, a script just inserted may not hold all its text
  // yet; those are checked once the document is parsed.
  function whenParsed() {
    for (const script of scriptsIn(document)) check(script);
    new MutationObserver((records) => {
      for (const record of records) for (const node of record.addedNodes) for (const s of scriptsIn(node)) check(s);
    }).observe(document, { childList: true, subtree: true });
  }

  if (document.readyState === 'loading') addEventListener('DOMContentLoaded', whenParsed, { once: true });
  else whenParsed();

  onReportAll(() => {
    const changes = [];
    for (const [script, id] of sent) if (script.isConnected) changes.push(...changesOf(script, id));
    return changes;
  });
})();
