// policy.js - a node's effective policy and why: the order of the policies
// that apply, and per set the policy that won it and those that lost, each
// with the reason.

import {call} from './api.js';
import {el, clear, pairs, show, table} from './dom.js';
import {linkedOn} from './links.js';

const OWN_KEYS = new Set(['gpo_id', 'gpo_name']);

function enforced(e) {
    return e.override === 1 ? el('span', {class: 'tag enforced'}, 'enforced') : null;
}

export async function policyTab(box, type, id) {
    const j = await call('evaluate', {[type === 2 ? 'ou' : 'peer']: id, explain: true, json: true});
    const content = (j.effective && j.effective.gpo_content) || {};
    const sets = Object.keys(j.sets || {}).sort();
    clear(box,
        (j.unreadable_links || []).map(u => el('p', {class: 'notice error'},
            `The links of ${linkedOn(u)} cannot be read: this node's policy cannot be computed.`)),
        el('section', {class: 'card'},
            el('h3', {}, 'Order, most important first'),
            (j.order || []).length ? table([
                ['#', (_, i) => String(i + 1)],
                ['Policy', o => o.gpo_name],
                ['Linked on', o => linkedOn(o)],
                ['', enforced],
            ], j.order, {class: 'order', id: 'policy-order'}) : el('p', {class: 'muted'}, 'No policy applies here.')),
        el('section', {class: 'card'},
            el('h3', {}, 'Effective policy, set by set'),
            sets.length ? el('div', {class: 'sets', id: 'sets'}, sets.map(name => setCard(name, j.sets[name], content[name]))) :
                el('p', {class: 'muted'}, 'No set applies.')));
}

function setCard(name, s, values) {
    const settings = pairs(values || {}).filter(([k]) => !OWN_KEYS.has(k));
    return el('article', {class: 'set-card', dataset: {set: name}},
        el('h4', {}, name),
        s.winner ? el('p', {class: 'winner'},
            'Won by ', el('strong', {}, s.winner.gpo_name), ` linked on ${linkedOn(s.winner)} `, enforced(s.winner)) :
            el('p', {class: 'muted'}, 'Applies nowhere.'),
        settings.length ? el('dl', {class: 'settings'},
            settings.map(([k, v]) => [el('dt', {}, k), el('dd', {}, show(v))])) : null,
        (s.losers || []).length ? el('div', {class: 'losers'},
            el('p', {}, 'Lost:'),
            el('ul', {}, s.losers.map(l => el('li', {class: 'loser'},
                el('strong', {}, l.gpo_name), ` on ${linkedOn(l)} `, enforced(l),
                el('span', {class: 'why'}, ' — ', l.reason))))) : null);
}
