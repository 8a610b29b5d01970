// Shows what the service worker knows of the native host; refreshed while
// the page is open.
const ROWS = [
  ['Native host answers', (s) => (s.hostAnswers ? 'yes' : s.portOpen ? 'not yet' : 'no')],
  ['Classifier running', (s) => (s.classifierUp ? 'yes' : 'no')],
  ['Last host id', (s) => s.lastHostId || '-'],
  ['Default endpoint', (s) => (s.isDefaultEndpoint === null ? '-' : String(s.isDefaultEndpoint))],
  ['Instance id', (s) => s.instanceId],
  ['Messages sent', (s) => s.sent],
  ['Replies', (s) => s.replies],
  ['Error replies', (s) => s.errorReplies],
  ['Connection attempts retried', (s) => s.reconnects],
  ['Last error', (s) => s.lastError || '-'],
];

function show(status) {
  const table = document.getElementById('status');
  table.replaceChildren(...ROWS.map(([label, value]) => {
    const row = document.createElement('tr');
    const th = document.createElement('th');
    const td = document.createElement('td');
    th.textContent = label;
    td.textContent = status ? String(value(status)) : '?';
    row.append(th, td);
    return row;
  }));
}

async function refresh() {
  try {
    show(await chrome.runtime.sendMessage({ kind: 'status' }));
  } catch (e) {
    show(null);
  }
}

refresh();
setInterval(refresh, 1000);
