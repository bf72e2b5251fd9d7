// dom.js - small DOM helpers: every text goes in as text, never as markup,
// so nothing a record holds can inject into the page.

// el('a', {href: '#', class: 'x', onclick: fn}, 'text', child, [more])
export function el(tag, attrs, ...children) {
    const node = document.createElement(tag);
    for (const [key, value] of Object.entries(attrs || {})) {
        if (value === undefined || value === null || value === false) continue;
        if (key.startsWith('on')) {
            node.addEventListener(key.slice(2), value);
        } else if (key === 'class') {
            node.className = value;
        } else if (key === 'dataset') {
            Object.assign(node.dataset, value);
        } else if (key in node && typeof value !== 'string') {
            node[key] = value;
        } else {
            node.setAttribute(key, value === true ? '' : value);
        }
    }
    append(node, children);
    return node;
}

function append(node, children) {
    for (const c of children) {
        if (c === null || c === undefined || c === false) continue;
        if (Array.isArray(c)) append(node, c);
        else node.append(c instanceof Node ? c : String(c));
    }
}

export function clear(node, ...children) {
    node.replaceChildren();
    append(node, children);
    return node;
}

export function when(seconds) {
    if (!seconds) return '';
    return new Date(seconds * 1000).toLocaleString();
}

// A value of a record for people: objects as compact JSON.
export function show(value) {
    if (value === null || value === undefined || value === '') return '—';
    if (typeof value === 'object') return JSON.stringify(value);
    return String(value);
}

// A table from rows; columns: [[title, row => cell], ...].
export function table(columns, rows, attrs) {
    return el('table', attrs || {},
        el('thead', {}, el('tr', {}, columns.map(([title]) => el('th', {}, title)))),
        el('tbody', {}, rows.map((row, i) => el('tr', {},
            columns.map(([, cell]) => el('td', {}, cell(row, i)))))));
}

// Key/value pairs of an object, nested objects flattened with dots.
export function pairs(obj, prefix = '') {
    const out = [];
    for (const [k, v] of Object.entries(obj || {})) {
        if (v && typeof v === 'object' && !Array.isArray(v)) out.push(...pairs(v, prefix + k + '.'));
        else out.push([prefix + k, v]);
    }
    return out;
}

export function notice(text, kind = 'info') {
    return el('p', {class: 'notice ' + kind, role: kind === 'error' ? 'alert' : 'status'}, text);
}

// Previous/next over a list read with limit and offset. total may be
// unknown (null): then "next" is offered while a page comes back full.
export function pager(offset, limit, count, total, go) {
    const last = total === null ? offset + count : Math.min(total, offset + limit);
    const more = total === null ? count === limit : offset + limit < total;
    return el('div', {class: 'pager'},
        el('button', {type: 'button', class: 'small pager-prev', disabled: offset === 0,
                      onclick: () => go(Math.max(0, offset - limit))}, '‹ Previous'),
        el('span', {class: 'pager-pos'}, count === 0 ? 'none' :
            `${offset + 1}–${last}` + (total === null ? '' : ` of ${total}`)),
        el('button', {type: 'button', class: 'small pager-next', disabled: !more,
                      onclick: () => go(offset + limit)}, 'Next ›'));
}
