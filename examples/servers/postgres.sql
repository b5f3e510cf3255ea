-- The database of the examples: psql -f examples/servers/postgres.sql
create role kwlookup login password 'change this';
create database mail;
\connect mail
create table access (address text primary key, result text);
insert into access values ('jdoe@corp.lan', 'reject'), ('news@bulk.example', 'hold');
grant select on access to kwlookup;
