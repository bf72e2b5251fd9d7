// inventory.js - what a server reported about itself: its information
// (hardware, network, volumes), its packages and its applications, the
// names in the reader's language.

import {call} from './api.js';
import {el, clear, pager, pairs, show, table, when} from './dom.js';

const PAGE = 25;

export async function inventoryTab(box, id, lang) {
    const info = el('section', {class: 'card', id: 'inventory-info'}, el('h3', {}, 'Information'));
    const pkgs = el('section', {class: 'card', id: 'inventory-pkgs'});
    const apps = el('section', {class: 'card', id: 'inventory-apps'});
    clear(box, info, pkgs, apps);
    await Promise.all([infoPart(info, id), pkgPart(pkgs, id, lang, 0), appPart(apps, id, lang, 0)]);
}

async function infoPart(box, id) {
    let j;
    try {
        j = await call('info get-by-peer', {args: [String(id)]});
    } catch (e) {
        if (e.status !== 404) throw e;
        box.append(el('p', {class: 'muted'}, 'The server has reported nothing yet.'));
        return;
    }
    const add = j.additional || {};
    const sections = Object.keys(add).filter(k => k !== 'mtime' && add[k] !== null);
    box.append(el('p', {class: 'muted'}, `Reported ${when(add.mtime)}`),
        ...sections.map(k => el('div', {class: 'info-section'},
            el('h4', {}, k.replace(/_/g, ' ')),
            el('dl', {class: 'settings'}, pairs(typeof add[k] === 'object' ? add[k] : {[k]: add[k]})
                .map(([n, v]) => [el('dt', {}, n), el('dd', {}, show(v))])))));
    if (!sections.length) box.append(el('p', {class: 'muted'}, 'No details.'));
}

async function pkgPart(box, id, lang, offset) {
    const rows = await call('pkg list', {peer: id, lang, 'sort-by': 'id', limit: PAGE, offset});
    clear(box, el('h3', {}, 'Packages'),
        rows.length || offset ? table([
            ['Package', r => r.pkg_name || r.additional.pkg_id],
            ['Version', r => r.pkg_version],
            ['Status', r => r.additional.pkg_status],
            ['New version', r => r.additional.pkg_new_version || ''],
        ], rows, {class: 'pkgs'}) : el('p', {class: 'muted'}, 'No package reported.'),
        rows.length || offset ? pager(offset, PAGE, rows.length, null, o => pkgPart(box, id, lang, o)) : null);
}

async function appPart(box, id, lang, offset) {
    const rows = await call('app list', {peer: id, lang, 'sort-by': 'id', limit: PAGE, offset});
    clear(box, el('h3', {}, 'Applications'),
        rows.length || offset ? table([
            ['Application', r => r.name || r.app_id],
            ['Version', r => r.app_version || ''],
            ['Address', r => {
                const a = r.additional || {};
                return [a.protocol, a.port ? ':' + a.port : '', a.url].filter(Boolean).join(' ');
            }],
        ], rows, {class: 'apps'}) : el('p', {class: 'muted'}, 'No application reported.'),
        rows.length || offset ? pager(offset, PAGE, rows.length, null, o => appPart(box, id, lang, o)) : null);
}

