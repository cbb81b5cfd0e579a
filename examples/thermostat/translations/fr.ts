<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
    <context>
        <name>selftest</name>
        <message>
            <location filename="../tools/selftest.lua" line="+8" />
            <source>FAILED</source>
            <translation>ÉCHEC</translation>
        </message>
        <message>
            <location line="+0" />
            <source>passed</source>
            <translation>réussi</translation>
        </message>
        <message>
            <location line="+9" />
            <source>Register table</source>
            <translation type="unfinished" />
        </message>
        <message>
            <location line="+1" />
            <source>Call depth</source>
            <translation type="unfinished" />
        </message>
    </context>
    <context>
        <name>thermostat</name>
        <message>
            <location filename="../root/usr/bin/thermostat.lua" line="+22" />
            <source>Thermostat</source>
            <translation>Thermostat</translation>
        </message>
    </context>
    <context>
        <name>thermostat/alarm</name>
        <message>
            <location filename="../root/usr/lib/lua/thermostat/alarm.lua" line="+20" />
            <source>Danger of frost</source>
            <translation>Risque de gel</translation>
        </message>
        <message>
            <location line="+3" />
            <source>Supply voltage too low</source>
            <translation type="unfinished" />
        </message>
    </context>
    <context>
        <name>thermostat/ui/screen</name>
        <message>
            <location filename="../root/usr/lib/lua/thermostat/ui/screen.lua" line="+12" />
            <source>Room</source>
            <translation>Pièce</translation>
        </message>
        <message>
            <location line="+1" />
            <source>Heating off</source>
            <translation>Chauffage arrêté</translation>
        </message>
        <message>
            <location line="+0" />
            <source>Heating on</source>
            <translation>Chauffage en marche</translation>
        </message>
        <message>
            <location line="+0" />
            <source>Target</source>
            <comment>temperature</comment>
            <translation>Consigne</translation>
        </message>
        <message>
            <location line="+11" />
            <source>Registers:</source>
            <translation type="unfinished" />
        </message>
        <message>
            <source>Holiday mode</source>
            <translation type="obsolete" />
        </message>
    </context>
</TS>
