-- The one privileged step of a new register database: run by a superuser,
-- or by a role with CREATEROLE that owns the database. Makes the owner role
-- of the schema, lets it create schemas in this database and lets the
-- running role act as it (SET ROLE rejects_owner), so that the rest of the
-- creation script runs as the owner. Everything after this runs without
-- any privilege of the running role.
--
--   rejects_owner  NOLOGIN CREATEROLE: owns every object of the schema and
--                  the security-definer functions that create users and
--                  grant rights (they create and grant roles, hence
--                  CREATEROLE); nobody logs in as it.

CREATE EXTENSION IF NOT EXISTS pgcrypto;

DO $$
BEGIN
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rejects_owner') THEN
    CREATE ROLE rejects_owner NOLOGIN CREATEROLE;
  END IF;
  IF NOT pg_has_role(current_user, 'rejects_owner', 'MEMBER') THEN
    EXECUTE format('GRANT rejects_owner TO %I', current_user);
  END IF;
  EXECUTE format('GRANT CREATE ON DATABASE %I TO rejects_owner', current_database());
EXCEPTION WHEN insufficient_privilege THEN
  RAISE EXCEPTION 'Создание базы данных требует привилегированной роли: суперпользователя или владельца базы с правом CREATEROLE (роль "%" им не является)', current_user
    USING ERRCODE = 'insufficient_privilege';
END
$$;
