-- The demo of scripts/run.sh: a table, rows whose text needs quoting, queries.
-- It can run any number of times: the table is made afresh.
DROP TABLE IF EXISTS demo_authors;

CREATE TABLE demo_authors (
    id      INTEGER PRIMARY KEY,
    name    VARCHAR(60) NOT NULL,
    quote   TEXT,
    born    DATE
);

INSERT INTO demo_authors (name, quote, born) VALUES
    ('Flann O''Brien', 'A pint of plain is your only man.', '1911-10-05'),
    ('Dorothy Parker', 'I''d rather have a bottle in front of me.', '1893-08-22'),
    ('Mark Twain', NULL, '1835-11-30');

UPDATE demo_authors SET quote = 'The report of my death was an exaggeration; "news" travels.'
 WHERE name = 'Mark Twain';

SELECT id, name, quote, born FROM demo_authors ORDER BY born;

SELECT count(*) AS authors, sum(length(quote)) AS quoted_characters FROM demo_authors
 WHERE quote LIKE '%''%' OR quote LIKE '%"%';
