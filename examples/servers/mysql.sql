-- The database of the examples: mariadb < examples/servers/mysql.sql
create database mail;
create table mail.access (
    address varchar(320) character set utf8mb4 collate utf8mb4_nopad_bin primary key,
    result text character set utf8mb4
);
insert into mail.access values ('jdoe@corp.lan', 'reject');
create user kwlookup@'%' identified by 'change this';
grant select on mail.access to kwlookup@'%';
