-- Schema of a volume: the object store and every mounted volume are files of this form.
-- For each database, tables record_N, sort_N and block_N are made with it; N is its object identifier.

-- One row: who the volume is and which object identifiers it may still give out.
CREATE TABLE volume(
  id INTEGER PRIMARY KEY CHECK(id = 1),
  guid BLOB NOT NULL CHECK(length(guid) = 16),
  next_oid INTEGER NOT NULL,  -- below: given out or set aside for a database, never used again
  last_oid INTEGER NOT NULL   -- the last one of this volume's range
) STRICT;

-- One row per database. Counts are kept up to date by every write, never by counting.
CREATE TABLE catalogue(
  oid INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE CHECK(length(name) BETWEEN 1 AND 31),
  dbtype INTEGER NOT NULL,
  flags INTEGER NOT NULL,
  sorts BLOB NOT NULL CHECK(length(sorts) % 32 = 0),  -- SORTORDERSPECEX, 32 bytes each
  nrec INTEGER NOT NULL DEFAULT 0,
  nbytes INTEGER NOT NULL DEFAULT 0,                  -- of all record images
  mtime INTEGER NOT NULL DEFAULT 0,                   -- UTC, 100 ns ticks since 1601
  next_oid INTEGER NOT NULL DEFAULT 0,                -- identifiers set aside for this database:
  end_oid INTEGER NOT NULL DEFAULT 0,                 -- next_oid up to, not including, end_oid
  moved BLOB NOT NULL DEFAULT x''                     -- what the counts in block_N lack
) STRICT;

-- Ranges of object identifiers that this device gave to volumes: the identifiers' highest byte. Used in the
-- object store only.
CREATE TABLE range(base INTEGER PRIMARY KEY) STRICT;
