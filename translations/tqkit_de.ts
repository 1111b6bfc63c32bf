<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>ActivityRow</name>
    <message>
        <source>Stop</source>
        <translation>Stoppen</translation>
    </message>
    <message>
        <source>Cancelling…</source>
        <translation>Wird abgebrochen …</translation>
    </message>
</context>
<context>
    <name>ActivityWindow</name>
    <message>
        <source>Activity</source>
        <translation>Aktivität</translation>
    </message>
</context>
<context>
    <name>LabelsWindow</name>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message numerus="yes">
        <source>Labelled %n file(s) “%1”</source>
        <translation>
            <numerusform>%n Datei mit „%1“ markiert</numerusform>
            <numerusform>%n Dateien mit „%1“ markiert</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>Quillbox</name>
    <message>
        <source>–––– Separator ––––</source>
        <translation>–––– Trennlinie ––––</translation>
    </message>
    <message>
        <source>Zero KB</source>
        <translation>Null KB</translation>
    </message>
    <message>
        <source>1 byte</source>
        <translation>1 Byte</translation>
    </message>
    <message>
        <source>%1 KB</source>
        <translation>%1 KB</translation>
    </message>
    <message>
        <source>%1 MB</source>
        <translation>%1 MB</translation>
    </message>
    <message>
        <source>%1 GB</source>
        <translation>%1 GB</translation>
    </message>
    <message>
        <source>%1 TB</source>
        <translation>%1 TB</translation>
    </message>
    <message>
        <source>%1 PB</source>
        <translation>%1 PB</translation>
    </message>
    <message>
        <source>%1 EB</source>
        <translation>%1 EB</translation>
    </message>
    <message>
        <source>%1.1f MP</source>
        <translation>%1.1f MP</translation>
    </message>
    <message>
        <source>Landscape</source>
        <translation>Querformat</translation>
    </message>
    <message>
        <source>Portrait</source>
        <translation>Hochformat</translation>
    </message>
    <message>
        <source>Square</source>
        <translation>Quadratisch</translation>
    </message>
    <message>
        <source>%d-bit</source>
        <translation>%d Bit</translation>
    </message>
    <message>
        <source>%d-bit %@(A)</source>
        <translation>%d Bit %@(A)</translation>
    </message>
    <message>
        <source>%d-bit %@</source>
        <translation>%d Bit %@</translation>
    </message>
    <message>
        <source>%d dpi</source>
        <translation>%d dpi</translation>
    </message>
    <message>
        <source>%dx%d dpi</source>
        <translation>%d × %d dpi</translation>
    </message>
    <message>
        <source>days</source>
        <translation>Tage</translation>
    </message>
    <message>
        <source>hours</source>
        <translation>Stunden</translation>
    </message>
    <message>
        <source>minutes</source>
        <translation>Minuten</translation>
    </message>
    <message>
        <source>About 5 seconds remaining</source>
        <translation>Noch etwa 5 Sekunden</translation>
    </message>
    <message>
        <source>About 15 seconds remaining</source>
        <translation>Noch etwa 15 Sekunden</translation>
    </message>
    <message>
        <source>About 30 seconds remaining</source>
        <translation>Noch etwa 30 Sekunden</translation>
    </message>
    <message>
        <source>About a minute remaining</source>
        <translation>Noch etwa eine Minute</translation>
    </message>
    <message>
        <source>minute</source>
        <translation>Minute</translation>
    </message>
    <message>
        <source>%qu %@ remaining</source>
        <translation>Noch %qu %@</translation>
    </message>
    <message>
        <source>hour</source>
        <translation>Stunde</translation>
    </message>
    <message>
        <source>%qu %@ and %qu %@ remaining</source>
        <translation>Noch %qu %@ und %qu %@</translation>
    </message>
    <message>
        <source>day</source>
        <translation>Tag</translation>
    </message>
    <message>
        <source>%qu %@, %qu %@, and %qu %@ remaining</source>
        <translation>Noch %qu %@, %qu %@ und %qu %@</translation>
    </message>
    <message>
        <source>Open With</source>
        <translation>Öffnen mit</translation>
    </message>
    <message>
        <source>Edit menu...</source>
        <translation>Menü bearbeiten …</translation>
    </message>
    <message>
        <source>Drop Locations</source>
        <translation>Ablageorte</translation>
    </message>
    <message>
        <source>Move to:</source>
        <translation>Verschieben nach:</translation>
    </message>
    <message>
        <source>Copy to:</source>
        <translation>Kopieren nach:</translation>
    </message>
    <message>
        <source>Alias in:</source>
        <translation>Alias erzeugen in:</translation>
    </message>
    <message>
        <source>Recent Destinations</source>
        <translation>Letzte Ziele</translation>
    </message>
    <message>
        <source>New Folder</source>
        <translation>Neuer Ordner</translation>
    </message>
    <message>
        <source>Other Location...</source>
        <translation>Anderer Ort …</translation>
    </message>
    <message numerus="yes">
        <source>%n bytes</source>
        <translation>
            <numerusform>%n Byte</numerusform>
            <numerusform>%n Bytes</numerusform>
        </translation>
    </message>
    <message>
        <source>%1, %2</source>
        <comment>a date, then a time of day</comment>
        <translation>%1, %2</translation>
    </message>
</context>
<context>
    <name>TQBookmarksModel</name>
    <message>
        <source>Bookmark</source>
        <translation>Lesezeichen</translation>
    </message>
</context>
<context>
    <name>TQFolderModel</name>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Kind</source>
        <translation>Art</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>Date Modified</source>
        <translation>Änderungsdatum</translation>
    </message>
    <message>
        <source>Date Created</source>
        <translation>Erstellungsdatum</translation>
    </message>
    <message>
        <source>Date Added</source>
        <translation>Hinzugefügt am</translation>
    </message>
    <message>
        <source>Label</source>
        <translation>Etikett</translation>
    </message>
    <message>
        <source>Width</source>
        <translation>Breite</translation>
    </message>
    <message>
        <source>Height</source>
        <translation>Höhe</translation>
    </message>
    <message>
        <source>Megapixels</source>
        <translation>Megapixel</translation>
    </message>
    <message>
        <source>Depth</source>
        <translation>Farbtiefe</translation>
    </message>
    <message>
        <source>Color Profile</source>
        <translation>Farbprofil</translation>
    </message>
    <message>
        <source>Date Taken</source>
        <translation>Aufnahmedatum</translation>
    </message>
    <message>
        <source>Orientation</source>
        <translation>Ausrichtung</translation>
    </message>
    <message>
        <source>Exposure</source>
        <translation>Belichtung</translation>
    </message>
    <message>
        <source>F-Number</source>
        <translation>Blende</translation>
    </message>
    <message>
        <source>ISO</source>
        <translation>ISO</translation>
    </message>
    <message>
        <source>Focal Length</source>
        <translation>Brennweite</translation>
    </message>
    <message>
        <source>Camera</source>
        <translation>Kamera</translation>
    </message>
</context>
<context>
    <name>UWStorageKit</name>
    <message>
        <source>Gray</source>
        <translation>Grau</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Purple</source>
        <translation>Lila</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Yellow</source>
        <translation>Gelb</translation>
    </message>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Orange</source>
        <translation>Orange</translation>
    </message>
    <message>
        <source>No Label</source>
        <translation>Kein Etikett</translation>
    </message>
    <message>
        <source>Label:</source>
        <translation>Etikett:</translation>
    </message>
</context>
<context>
    <name>folder-view</name>
    <message>
        <source>Exclude folders</source>
        <translation>Ordner ausschließen</translation>
    </message>
    <message>
        <source>Name contains</source>
        <translation>Name enthält</translation>
    </message>
    <message>
        <source>Thumbnails</source>
        <translation>Miniaturansichten</translation>
    </message>
</context>
</TS>
