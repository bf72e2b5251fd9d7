// tree.js - the organisation tree of what the signed-in user may see: every
// OU and server read through the list commands a page at a time (they show
// a delegated user only their part), nested here.

import {call, listAll} from './api.js';
import {el, clear} from './dom.js';

// Peer status codes as people say them.
const STATUS = {
    0: 'unknown', 1: 'offline', 2: 'ready', 3: 'offline', 4: 'updating', 5: 'system lost',
    6: 'booting', 7: 'none', 8: 'booting', 9: 'updating', 10: 'offline', 11: 'joining',
    12: 'leaving', 13: 'rebooting', 14: 'shutting down', 15: 'cannot connect', 16: 'hibernation',
};
const PEERS_SHOWN = 50;  // servers listed under an OU before "show more"

export function statusText(code) {
    return STATUS[code] || `status ${code}`;
}

export function statusClass(code) {
    if (code === 2) return 'ok';
    if (code === 9 || code === 11 || code === 13 || code === 6 || code === 8 || code === 4) return 'busy';
    if (code === 16) return 'idle';
    return 'down';
}

export const tree = {
    ous: new Map(),
    peers: new Map(),
    childOus: new Map(),
    childPeers: new Map(),
    roots: [],
    rootPeers: [],
    loaded: false,

    ou(id) { return this.ous.get(Number(id)); },
    peer(id) { return this.peers.get(Number(id)); },

    ouName(id) {
        const ou = this.ou(id);
        if (Number(id) === 0) return 'Root OU';
        return ou ? ou.name : `OU ${id}`;
    },

    nodeName(type, id) {
        if (type === 1) {
            const p = this.peer(id);
            return p ? p.hostname || p.sn : `server ${id}`;
        }
        return this.ouName(id);
    },

    // The OUs from the root down to id (those the user may see).
    path(ouId) {
        const out = [];
        const seen = new Set();
        for (let ou = this.ou(ouId); ou && !seen.has(ou.id); ou = this.ou(ou.parent_id)) {
            seen.add(ou.id);
            out.unshift(ou);
        }
        return out;
    },

    async load(progress) {
        const ous = await listAll('ou list', {'sort-by': 'id'},
                                  n => progress(`Reading OUs: ${n}`));
        const peers = await listAll('peer list', {'sort-by': 'id'},
                                    n => progress(`Reading servers: ${n}`));
        this.ous = new Map(ous.map(o => [o.id, o]));
        this.peers = new Map(peers.map(p => [p.id, p]));
        this.childOus = new Map();
        this.childPeers = new Map();
        this.roots = [];
        this.rootPeers = [];
        for (const ou of ous) {
            if (ou.id !== 0 && this.ous.has(ou.parent_id)) push(this.childOus, ou.parent_id, ou);
            else this.roots.push(ou);
        }
        for (const p of peers) {
            if (this.ous.has(p.parent_id)) push(this.childPeers, p.parent_id, p);
            else this.rootPeers.push(p);
        }
        const byName = (a, b) => (a.name || '').localeCompare(b.name || '');
        for (const list of this.childOus.values()) list.sort(byName);
        for (const list of this.childPeers.values()) list.sort(byName);
        this.loaded = true;
    },

    // One record read again (after an edit, or for its current form).
    async refresh(type, id) {
        const rec = await call(type === 1 ? 'peer get' : 'ou get', {args: [String(id)]});
        const map = type === 1 ? this.peers : this.ous;
        // In place: the nested lists of the tree hold the same objects.
        if (map.has(rec.id)) Object.assign(map.get(rec.id), rec);
        else map.set(rec.id, rec);
        return {...rec};
    },
};

function push(map, key, value) {
    if (!map.has(key)) map.set(key, []);
    map.get(key).push(value);
}

function peerItem(p) {
    return el('li', {class: 'peer', dataset: {peer: p.id}},
        el('a', {href: `#peer/${p.id}`, title: `${p.sn} · ${statusText(p.status)}`},
            el('span', {class: 'dot ' + statusClass(p.status)}),
            el('span', {class: 'name'}, p.hostname || p.sn),
            el('span', {class: 'meta'}, [p.model, p.version].filter(Boolean).join(' '))));
}

function peerItems(peers) {
    const list = el('ul', {class: 'peers'});
    let shown = 0;
    const more = el('li', {class: 'more'});
    const showMore = () => {
        const next = peers.slice(shown, shown + PEERS_SHOWN);
        more.remove();
        list.append(...next.map(peerItem));
        shown += next.length;
        if (shown < peers.length) {
            clear(more, el('button', {type: 'button', class: 'small', onclick: showMore},
                `Show ${Math.min(PEERS_SHOWN, peers.length - shown)} more of ${peers.length - shown}`));
            list.append(more);
        }
    };
    showMore();
    return list;
}

function ouItem(ou, depth, filter) {
    const kids = tree.childOus.get(ou.id) || [];
    const peers = tree.childPeers.get(ou.id) || [];
    const summary = el('summary', {},
        el('a', {href: `#ou/${ou.id}`, class: 'ou-link'}, tree.ouName(ou.id)),
        ou.block_inheritance ? el('span', {class: 'tag blocked', title: 'blocks inherited policies'}, 'blocks') : null,
        peers.length ? el('span', {class: 'count'}, String(peers.length)) : null);
    const open = depth < 2 || !!filter;
    return el('li', {class: 'ou', dataset: {ou: ou.id}},
        el('details', {open},
            summary,
            kids.length ? el('ul', {}, kids.map(k => ouItem(k, depth + 1, filter))) : null,
            peers.length ? peerItems(peers) : null));
}

// The tree, or with a filter the nodes whose name has the text, flat.
export function renderTree(container, filter) {
    if (!tree.loaded) return;
    const text = (filter || '').trim().toLowerCase();
    if (text) {
        const ous = [...tree.ous.values()].filter(o => (o.name || '').toLowerCase().includes(text));
        const peers = [...tree.peers.values()].filter(p =>
            [p.hostname, p.sn, p.model].some(v => (v || '').toLowerCase().includes(text)));
        clear(container,
            el('ul', {class: 'found'},
                ous.slice(0, 200).map(o => el('li', {class: 'ou'}, el('a', {href: `#ou/${o.id}`}, tree.ouName(o.id)))),
                peers.length ? el('li', {}, peerItems(peers)) : null),
            ous.length + peers.length === 0 ? el('p', {class: 'muted'}, 'Nothing matches.') : null);
        return;
    }
    clear(container,
        el('ul', {class: 'root'},
            tree.roots.map(o => ouItem(o, 0, '')),
            tree.rootPeers.length ? el('li', {}, peerItems(tree.rootPeers)) : null),
        tree.ous.size + tree.peers.size === 0 ? el('p', {class: 'muted'}, 'Nothing to show: no node is yours to see.') : null);
}

export function markCurrent(container, type, id) {
    for (const a of container.querySelectorAll('a.current')) a.classList.remove('current');
    const sel = type === 1 ? `li.peer[data-peer="${id}"] > a` : `li.ou[data-ou="${id}"] > details > summary > a`;
    const a = container.querySelector(sel);
    if (!a) return;
    a.classList.add('current');
    for (let d = a.closest('details'); d; d = d.parentElement.closest('details')) d.open = true;
}
