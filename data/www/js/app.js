// app.js - the console's frame: sign-in, the tree beside the page of the
// node picked, and the address (#ou/3/policy) that says which page shows,
// so the browser's back button and bookmarks work.

import * as api from './api.js';
import {el, clear, notice, show, when} from './dom.js';
import {tree, renderTree, markCurrent, statusText, statusClass} from './tree.js';
import {linksTab} from './links.js';
import {policyTab} from './policy.js';
import {delegatesTab} from './delegates.js';
import {inventoryTab} from './inventory.js';
import {logPage, userLang} from './log.js';

const $ = id => document.getElementById(id);
const OU = 2, PEER = 1;
let me = null;

const TABS = {
    links: ['Links', (box, type, id) => linksTab(box, type, id)],
    policy: ['Policy and why', (box, type, id) => policyTab(box, type, id)],
    delegates: ['Managed by', (box, type, id) => delegatesTab(box, type, id)],
    inventory: ['Inventory', (box, type, id) => inventoryTab(box, id, userLang())],
};

api.on('busy', on => { $('busy').hidden = !on; });
api.on('signedOut', () => showSignIn('Your session has ended: sign in again.'));

function progress(text) {
    $('busy-text').textContent = text;
}

function showSignIn(message) {
    me = null;
    tree.loaded = false;
    $('console').hidden = true;
    $('top-nav').hidden = true;
    $('signin').hidden = false;
    $('signin-error').textContent = message || '';
    $('signin-user').focus();
}

async function start(who) {
    me = who;
    $('signin').hidden = true;
    $('console').hidden = false;
    $('top-nav').hidden = false;
    $('who').textContent = who.user + (who.admin ? ' (administrator)' : '');
    await loadTree();
    await route();
}

async function loadTree() {
    clear($('tree'), el('p', {class: 'working'}, el('span', {class: 'spinner'}), 'Reading the tree…'));
    try {
        await tree.load(text => {
            progress(text);
            clear($('tree'), el('p', {class: 'working'}, el('span', {class: 'spinner'}), text));
        });
    } catch (e) {
        clear($('tree'), notice(e.message, 'error'));
        return;
    } finally {
        progress('Working…');
    }
    renderTree($('tree'), $('tree-filter').value);
}

function parseRoute() {
    const [what, id, tab] = location.hash.replace(/^#/, '').split('/');
    if (what === 'ou' || what === 'peer') return {type: what === 'ou' ? OU : PEER, id: Number(id), tab};
    return {what: what || 'home'};
}

async function route() {
    if (!me) return;
    const r = parseRoute();
    const page = $('page');
    try {
        if (r.what === 'log') {
            markCurrent($('tree'), 0, -1);
            await logPage(page);
        } else if (r.type) {
            markCurrent($('tree'), r.type, r.id);
            await nodePage(page, r.type, r.id, r.tab);
        } else {
            markCurrent($('tree'), 0, -1);
            homePage(page);
        }
    } catch (e) {
        clear(page, notice(e.status === 404 ? 'There is no such node (any more).' :
                           e.status === 403 ? 'This node is not yours to see.' : e.message, 'error'));
    }
}

function homePage(page) {
    const ous = [...tree.ous.values()].filter(o => o.id !== 0).length;
    const peers = [...tree.peers.values()];
    const ready = peers.filter(p => p.status === 2).length;
    clear(page,
        el('h2', {}, me.admin ? 'Everything' : 'Your part of the tree'),
        el('section', {class: 'card'},
            el('p', {}, `${ous} OUs, ${peers.length} servers, ${ready} of them ready.`),
            el('p', {class: 'muted'}, 'Pick an OU or a server in the tree to see its links, its policy and why, ' +
               'who manages it and, for a server, what it reported.')));
}

async function nodePage(page, type, id, tab) {
    const rec = await tree.refresh(type, id);
    const tabs = Object.keys(TABS).filter(t => t !== 'inventory' || type === PEER);
    if (!tabs.includes(tab)) tab = 'links';
    const base = `#${type === OU ? 'ou' : 'peer'}/${id}`;
    const body = el('div', {class: 'tab-body', id: 'tab-body'});
    clear(page,
        crumbs(type, rec),
        type === PEER ? peerHead(rec) : ouHead(rec),
        el('nav', {class: 'tabs', role: 'tablist'}, tabs.map(t => el('a', {
            href: `${base}/${t}`, role: 'tab', id: `tab-${t}`, class: t === tab ? 'active' : '',
            'aria-selected': t === tab ? 'true' : 'false'}, TABS[t][0]))),
        body);
    clear(body, el('p', {class: 'working'}, el('span', {class: 'spinner'}), 'Reading…'));
    try {
        await TABS[tab][1](body, type, id);
    } catch (e) {
        clear(body, notice(e.message, 'error'));
    }
}

function crumbs(type, rec) {
    const path = tree.path(type === OU ? rec.parent_id : rec.parent_id);
    return el('p', {class: 'crumbs'}, path.map(o => [el('a', {href: `#ou/${o.id}`}, tree.ouName(o.id)), ' › ']));
}

function ouHead(rec) {
    return el('header', {class: 'node-head'},
        el('h2', {id: 'node-title'}, tree.ouName(rec.id)),
        rec.block_inheritance ? el('span', {class: 'tag blocked'}, 'blocks inherited policies') : null,
        rec.desc ? el('p', {}, rec.desc) : null);
}

function peerHead(rec) {
    const facts = [
        ['Status', el('span', {}, el('span', {class: 'dot ' + statusClass(rec.status)}), statusText(rec.status))],
        ['Model', show(rec.model)],
        ['Version', show(rec.version) + (rec.buildnum ? ` (build ${rec.buildnum})` : '')],
        ['Serial', rec.sn],
        ['Address', rec.host ? `${rec.host}${rec.https_port ? ':' + rec.https_port : rec.http_port ? ':' + rec.http_port : ''}` : '—'],
        ['Changed', when(rec.mtime) || '—'],
    ];
    return el('header', {class: 'node-head'},
        el('h2', {id: 'node-title'}, rec.hostname || rec.sn),
        rec.block_inheritance ? el('span', {class: 'tag blocked'}, 'blocks inherited policies') : null,
        el('dl', {class: 'facts', id: 'peer-facts'}, facts.map(([k, v]) => el('div', {}, el('dt', {}, k), el('dd', {}, v)))),
        rec.desc ? el('p', {}, rec.desc) : null);
}

$('signin-form').addEventListener('submit', async e => {
    e.preventDefault();
    const button = $('signin-submit');
    button.disabled = true;
    $('signin-error').textContent = '';
    try {
        const who = await api.signIn($('signin-user').value.trim(), $('signin-password').value);
        $('signin-password').value = '';
        await start(who);
    } catch (err) {
        $('signin-error').textContent = err.status === 429 ?
            `Too many failed attempts: try again in ${err.answer.retry_after || 'a few'} seconds.` :
            err.status === 401 ? 'Wrong user name or password.' : err.message;
    } finally {
        button.disabled = false;
    }
});

$('signout').addEventListener('click', async () => {
    try {
        await api.signOut();
    } finally {
        location.hash = '';
        showSignIn('Signed out.');
    }
});

$('tree-reload').addEventListener('click', async () => {
    await loadTree();
    route();
});

let filterTimer = 0;
$('tree-filter').addEventListener('input', () => {
    clearTimeout(filterTimer);
    filterTimer = setTimeout(() => renderTree($('tree'), $('tree-filter').value), 200);
});

window.addEventListener('hashchange', route);

// A saved edit: the tree and the page's heading show the record as stored.
window.addEventListener('tarn:changed', e => {
    const {type, id} = e.detail;
    renderTree($('tree'), $('tree-filter').value);
    markCurrent($('tree'), type, id);
    const head = document.querySelector('#page .node-head');
    const rec = type === PEER ? tree.peer(id) : tree.ou(id);
    if (head && rec) head.replaceWith(type === PEER ? peerHead(rec) : ouHead(rec));
});

(async () => {
    try {
        const who = await api.session();
        if (who) await start(who);
        else showSignIn();
    } catch (e) {
        showSignIn(e.message);
    }
})();
