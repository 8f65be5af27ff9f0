-- The desktop partner's store: one SQLite file. Format 1.
-- Texts of records are kept inside their packets only; what is needed to find a record stands beside them.

CREATE TABLE settings (
  name  TEXT PRIMARY KEY,
  value TEXT NOT NULL
) WITHOUT ROWID;

-- Counts every change of a record, so that "changed since" is one comparison.
CREATE TABLE counter (
  value INTEGER NOT NULL
);
INSERT INTO counter VALUES (0);

-- A record as it is on the desktop. A deleted one stays until every device has been told.
CREATE TABLE records (
  id       INTEGER PRIMARY KEY AUTOINCREMENT,
  folder   INTEGER NOT NULL,
  recordId BLOB NOT NULL,              -- the record's own identifier, UTF-16LE without terminator
  change   INTEGER NOT NULL,           -- counter at the last change
  deleted  INTEGER NOT NULL DEFAULT 0,
  packet   BLOB NOT NULL               -- as received from a device, or as made here
);
CREATE INDEX recordsByRecordId ON records (folder, recordId);
CREATE INDEX recordsByState ON records (folder, deleted);

-- A device as seen through one of its two partnerships.
CREATE TABLE devices (
  id       INTEGER PRIMARY KEY,
  deviceId TEXT NOT NULL,
  partner  INTEGER NOT NULL,           -- 1 or 2
  place    TEXT NOT NULL DEFAULT '',   -- where it was found last, for people
  token    TEXT NOT NULL DEFAULT '',   -- left on the device by the last run that moved something
  pending  TEXT NOT NULL DEFAULT '',   -- about to be left there: a killed run may have done it or not
  lastRun  INTEGER NOT NULL DEFAULT 0, -- file time of the end of the last complete run, 0 = none yet
  report   TEXT NOT NULL DEFAULT '',   -- that run's report, JSON
  UNIQUE (deviceId, partner)
);

-- Which record is which object of a device, and the last state that both sides had. While a new record is sent
-- the object is not known yet: then oid is -record, and change and base are what was about to be sent.
CREATE TABLE links (
  device INTEGER NOT NULL REFERENCES devices (id),
  folder INTEGER NOT NULL,
  oid    INTEGER NOT NULL,
  record INTEGER NOT NULL REFERENCES records (id),
  change INTEGER NOT NULL,             -- the record's change that both sides had
  base   BLOB,                         -- its packet then; NULL while the record still holds it
  PRIMARY KEY (device, folder, oid)
) WITHOUT ROWID;
CREATE UNIQUE INDEX linksByRecord ON links (device, record);
CREATE INDEX linksOfRecord ON links (record);

-- The common state outlives an edit on the desktop.
CREATE TRIGGER keepBase BEFORE UPDATE OF packet ON records
BEGIN
  UPDATE links SET base = OLD.packet WHERE record = OLD.id AND base IS NULL;
END;
