-- Main database of the management core. The library creates no tables:
-- "tarn init" (or the package's installer) runs this file once.
-- No foreign keys: rows of package, app and info must survive the
-- INSERT OR REPLACE that re-stores their peer under the same id.

CREATE TABLE IF NOT EXISTS ou (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    name TEXT NOT NULL DEFAULT '',
    desc TEXT NOT NULL DEFAULT '',
    parent_id INTEGER NOT NULL DEFAULT 0,
    block_inheritance INTEGER NOT NULL DEFAULT 0,
    linked_gpo TEXT NOT NULL DEFAULT '',
    extra_info TEXT NOT NULL DEFAULT '',
    pid INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS ou_parent ON ou(parent_id);

CREATE TABLE IF NOT EXISTS peer (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    desc TEXT NOT NULL DEFAULT '',
    sn TEXT NOT NULL DEFAULT '',
    model TEXT NOT NULL DEFAULT '',
    version TEXT NOT NULL DEFAULT '',
    buildnum INTEGER NOT NULL DEFAULT 0,
    smallfixnum INTEGER NOT NULL DEFAULT 0,
    hostname TEXT NOT NULL DEFAULT '',
    host TEXT NOT NULL DEFAULT '',
    sid TEXT NOT NULL DEFAULT '',
    vuro_token TEXT NOT NULL DEFAULT '',
    status INTEGER NOT NULL DEFAULT 0,
    status_by_server INTEGER NOT NULL DEFAULT 0,
    status_by_server_mtime INTEGER NOT NULL DEFAULT 0,
    wol INTEGER NOT NULL DEFAULT 0,
    up_time INTEGER NOT NULL DEFAULT 0,
    uptime_mtime INTEGER NOT NULL DEFAULT 0,
    http_port INTEGER NOT NULL DEFAULT 0,
    https_port INTEGER NOT NULL DEFAULT 0,
    parent_id INTEGER NOT NULL DEFAULT 0,
    block_inheritance INTEGER NOT NULL DEFAULT 0,
    linked_gpo TEXT NOT NULL DEFAULT '',
    relaypath TEXT NOT NULL DEFAULT '',
    gluster_role INTEGER NOT NULL DEFAULT 0,
    extra_info TEXT NOT NULL DEFAULT ''
);
CREATE UNIQUE INDEX IF NOT EXISTS peer_sn ON peer(sn);
CREATE INDEX IF NOT EXISTS peer_parent ON peer(parent_id);

CREATE TABLE IF NOT EXISTS gpo (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    name TEXT NOT NULL DEFAULT '',
    desc TEXT NOT NULL DEFAULT '',
    parent_id INTEGER NOT NULL DEFAULT 0,
    parent_type INTEGER NOT NULL DEFAULT 0,
    setting TEXT NOT NULL DEFAULT '',
    extra_info TEXT NOT NULL DEFAULT '',
    pid INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS gpo_parent ON gpo(parent_type, parent_id);

CREATE TABLE IF NOT EXISTS delegate (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    user_type INTEGER NOT NULL DEFAULT 0,
    ugid INTEGER NOT NULL DEFAULT 0,
    target_type INTEGER NOT NULL DEFAULT 0,
    target_id INTEGER NOT NULL DEFAULT 0,
    extra_info TEXT NOT NULL DEFAULT '',
    pid INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS delegate_target ON delegate(target_type, target_id);

CREATE TABLE IF NOT EXISTS package (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    peer_id INTEGER NOT NULL DEFAULT 0,
    pkg_id TEXT NOT NULL DEFAULT '',
    pkg_name_enu TEXT NOT NULL DEFAULT '',
    pkg_name_cht TEXT NOT NULL DEFAULT '',
    pkg_name_chs TEXT NOT NULL DEFAULT '',
    pkg_name_krn TEXT NOT NULL DEFAULT '',
    pkg_name_ger TEXT NOT NULL DEFAULT '',
    pkg_name_fre TEXT NOT NULL DEFAULT '',
    pkg_name_ita TEXT NOT NULL DEFAULT '',
    pkg_name_spn TEXT NOT NULL DEFAULT '',
    pkg_name_jpn TEXT NOT NULL DEFAULT '',
    pkg_name_dan TEXT NOT NULL DEFAULT '',
    pkg_name_nor TEXT NOT NULL DEFAULT '',
    pkg_name_sve TEXT NOT NULL DEFAULT '',
    pkg_name_nld TEXT NOT NULL DEFAULT '',
    pkg_name_rus TEXT NOT NULL DEFAULT '',
    pkg_name_plk TEXT NOT NULL DEFAULT '',
    pkg_name_ptb TEXT NOT NULL DEFAULT '',
    pkg_name_ptg TEXT NOT NULL DEFAULT '',
    pkg_name_hun TEXT NOT NULL DEFAULT '',
    pkg_name_trk TEXT NOT NULL DEFAULT '',
    pkg_name_csy TEXT NOT NULL DEFAULT '',
    pkg_version TEXT NOT NULL DEFAULT '',
    pkg_new_version TEXT NOT NULL DEFAULT '',
    pkg_status INTEGER NOT NULL DEFAULT 0,
    pkg_install_status INTEGER NOT NULL DEFAULT 0,
    beta INTEGER NOT NULL DEFAULT 0,
    install_dependent_packages TEXT NOT NULL DEFAULT '',
    install_conflict_packages TEXT NOT NULL DEFAULT '',
    startable INTEGER NOT NULL DEFAULT 0,
    silent_install INTEGER NOT NULL DEFAULT 0,
    silent_upgrade INTEGER NOT NULL DEFAULT 0,
    silent_uninstall INTEGER NOT NULL DEFAULT 0,
    upgradable INTEGER NOT NULL DEFAULT 0,
    upgradable_mtime INTEGER NOT NULL DEFAULT 0,
    filter TEXT NOT NULL DEFAULT '',
    extra_info TEXT NOT NULL DEFAULT '',
    UNIQUE (peer_id, pkg_id)
);

CREATE TABLE IF NOT EXISTS app (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    peer_id INTEGER NOT NULL DEFAULT 0,
    app_id TEXT NOT NULL DEFAULT '',
    name_enu TEXT NOT NULL DEFAULT '',
    name_cht TEXT NOT NULL DEFAULT '',
    name_chs TEXT NOT NULL DEFAULT '',
    name_krn TEXT NOT NULL DEFAULT '',
    name_ger TEXT NOT NULL DEFAULT '',
    name_fre TEXT NOT NULL DEFAULT '',
    name_ita TEXT NOT NULL DEFAULT '',
    name_spn TEXT NOT NULL DEFAULT '',
    name_jpn TEXT NOT NULL DEFAULT '',
    name_dan TEXT NOT NULL DEFAULT '',
    name_nor TEXT NOT NULL DEFAULT '',
    name_sve TEXT NOT NULL DEFAULT '',
    name_nld TEXT NOT NULL DEFAULT '',
    name_rus TEXT NOT NULL DEFAULT '',
    name_plk TEXT NOT NULL DEFAULT '',
    name_ptb TEXT NOT NULL DEFAULT '',
    name_ptg TEXT NOT NULL DEFAULT '',
    name_hun TEXT NOT NULL DEFAULT '',
    name_trk TEXT NOT NULL DEFAULT '',
    name_csy TEXT NOT NULL DEFAULT '',
    app_version TEXT NOT NULL DEFAULT '',
    icon_mtime INTEGER NOT NULL DEFAULT 0,
    protocol TEXT NOT NULL DEFAULT '',
    port INTEGER NOT NULL DEFAULT 0,
    url TEXT NOT NULL DEFAULT '',
    windowparam TEXT NOT NULL DEFAULT '',
    is_package INTEGER NOT NULL DEFAULT 0,
    extra_info TEXT NOT NULL DEFAULT '',
    UNIQUE (peer_id, app_id)
);

-- Server information: one row per peer. Readers also select by the peer's
-- serial, so "info" is a view that joins it in; writes go to info_data
-- through the triggers below, INSERT OR REPLACE included.
CREATE TABLE IF NOT EXISTS info_data (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    mtime INTEGER NOT NULL DEFAULT 0,
    peer_id INTEGER NOT NULL UNIQUE,
    general TEXT NOT NULL DEFAULT '',
    network TEXT NOT NULL DEFAULT '',
    hdd_info TEXT NOT NULL DEFAULT '',
    vol_info TEXT NOT NULL DEFAULT '',
    session TEXT NOT NULL DEFAULT '',
    define TEXT NOT NULL DEFAULT '',
    extra_info TEXT NOT NULL DEFAULT ''
);
CREATE VIEW IF NOT EXISTS info AS
    SELECT i.id, i.mtime, i.peer_id, i.general, i.network, i.hdd_info, i.vol_info,
           i.session, i.define, i.extra_info, p.sn AS sn
    FROM info_data i LEFT JOIN peer p ON p.id = i.peer_id;
CREATE TRIGGER IF NOT EXISTS info_insert INSTEAD OF INSERT ON info BEGIN
    INSERT OR REPLACE INTO info_data (id, mtime, peer_id, general, network, hdd_info, vol_info,
                                      session, define, extra_info)
    VALUES (NEW.id, NEW.mtime, NEW.peer_id, NEW.general, NEW.network, NEW.hdd_info,
            NEW.vol_info, NEW.session, NEW.define, NEW.extra_info);
END;
CREATE TRIGGER IF NOT EXISTS info_update INSTEAD OF UPDATE ON info BEGIN
    UPDATE info_data SET id = NEW.id, mtime = NEW.mtime, peer_id = NEW.peer_id,
        general = NEW.general, network = NEW.network, hdd_info = NEW.hdd_info,
        vol_info = NEW.vol_info, session = NEW.session, define = NEW.define,
        extra_info = NEW.extra_info
    WHERE id = OLD.id;
END;
CREATE TRIGGER IF NOT EXISTS info_delete INSTEAD OF DELETE ON info BEGIN
    DELETE FROM info_data WHERE id = OLD.id;
END;

-- The root of the tree: id 0, no parent.
INSERT OR IGNORE INTO ou (id, mtime, name, desc, parent_id, block_inheritance, linked_gpo,
                          extra_info, pid)
    VALUES (0, 0, '', '', -1, 0, '', '', 0);
