<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>QuillboxFolderView</name>
    <message>
        <source>Files as a list</source>
        <translation>Dateien als Liste</translation>
    </message>
    <message>
        <source>Files as thumbnails</source>
        <translation>Dateien als Miniaturen</translation>
    </message>
    <message>
        <source>This folder is empty.</source>
        <translation>Dieser Ordner ist leer.</translation>
    </message>
    <message>
        <source>No item matches the filter.</source>
        <translation>Kein Objekt passt zum Filter.</translation>
    </message>
</context>
<context>
    <name>QuillboxInspector</name>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Kind:</source>
        <translation>Art:</translation>
    </message>
    <message>
        <source>Size:</source>
        <translation>Größe:</translation>
    </message>
    <message>
        <source>Modified:</source>
        <translation>Geändert:</translation>
    </message>
    <message>
        <source>Dimensions:</source>
        <translation>Abmessungen:</translation>
    </message>
    <message>
        <source>Megapixels:</source>
        <translation>Megapixel:</translation>
    </message>
    <message>
        <source>Camera:</source>
        <translation>Kamera:</translation>
    </message>
    <message>
        <source>Exposure:</source>
        <translation>Belichtung:</translation>
    </message>
    <message>
        <source>ISO:</source>
        <translation>ISO:</translation>
    </message>
    <message>
        <source>Focal length:</source>
        <translation>Brennweite:</translation>
    </message>
    <message>
        <source>Date taken:</source>
        <translation>Aufnahmedatum:</translation>
    </message>
    <message>
        <source>Colour profile:</source>
        <translation>Farbprofil:</translation>
    </message>
    <message>
        <source>Resolution:</source>
        <translation>Auflösung:</translation>
    </message>
    <message>
        <source>Orientation:</source>
        <translation>Ausrichtung:</translation>
    </message>
    <message>
        <source>%1 (turned by the camera: EXIF %2)</source>
        <translation>%1 (von der Kamera gedreht: EXIF %2)</translation>
    </message>
    <message>
        <source>No selection</source>
        <translation>Keine Auswahl</translation>
    </message>
</context>
<context>
    <name>QuillboxListEditor</name>
    <message>
        <source>Add...</source>
        <translation>Hinzufügen …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Choose a Folder</source>
        <translation>Ordner wählen</translation>
    </message>
    <message>
        <source>Choose an Application</source>
        <translation>Programm wählen</translation>
    </message>
    <message>
        <source>Applications (*.desktop)</source>
        <translation>Programme (*.desktop)</translation>
    </message>
</context>
<context>
    <name>QuillboxSidebar</name>
    <message>
        <source>Bookmarks</source>
        <translation>Lesezeichen</translation>
    </message>
    <message>
        <source>Rename Bookmark</source>
        <translation>Lesezeichen umbenennen</translation>
    </message>
    <message>
        <source>Remove Bookmark</source>
        <translation>Lesezeichen entfernen</translation>
    </message>
    <message>
        <source>Add Separator</source>
        <translation>Trennlinie hinzufügen</translation>
    </message>
</context>
<context>
    <name>QuillboxTasks</name>
    <message>
        <source>“%1” is not a file, folder or link and was left alone.</source>
        <translation>„%1“ ist weder Datei noch Ordner noch Verknüpfung und wurde nicht angerührt.</translation>
    </message>
    <message>
        <source>“%1” could not be moved to the Trash: %2.</source>
        <translation>„%1“ konnte nicht in den Papierkorb gelegt werden: %2.</translation>
    </message>
    <message>
        <source>“%1” could not be moved to the Trash: %2</source>
        <translation>„%1“ konnte nicht in den Papierkorb gelegt werden: %2</translation>
    </message>
    <message>
        <source>“%1” could not be rotated: %2.</source>
        <translation>„%1“ konnte nicht gedreht werden: %2.</translation>
    </message>
    <message>
        <source>“%1” is not an image that can be rotated.</source>
        <translation>„%1“ ist kein Bild, das gedreht werden kann.</translation>
    </message>
    <message>
        <source>“%1” could not be rotated: %2</source>
        <translation>„%1“ konnte nicht gedreht werden: %2</translation>
    </message>
    <message>
        <source>The folder “%1” cannot be opened: %2.</source>
        <translation>Der Ordner „%1“ kann nicht geöffnet werden: %2.</translation>
    </message>
    <message>
        <source>“%1” could not be found.</source>
        <translation>„%1“ wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>“%1” cannot be put inside itself.</source>
        <translation>„%1“ kann nicht in sich selbst gelegt werden.</translation>
    </message>
    <message>
        <source>No alias of “%1” could be made in “%2”: %3.</source>
        <translation>In „%2“ konnte kein Alias von „%1“ angelegt werden: %3.</translation>
    </message>
    <message>
        <source>“%1” could not be moved to “%2”: %3.</source>
        <translation>„%1“ konnte nicht nach „%2“ bewegt werden: %3.</translation>
    </message>
    <message>
        <source>“%1” was copied to “%2”, but changed meanwhile and was left where it was.</source>
        <translation>„%1“ wurde nach „%2“ kopiert, hat sich inzwischen aber geändert und blieb, wo es war.</translation>
    </message>
    <message>
        <source>“%1” could not be read: %2.</source>
        <translation>„%1“ konnte nicht gelesen werden: %2.</translation>
    </message>
    <message>
        <source>“%1” could not be copied to “%2”: %3.</source>
        <translation>„%1“ konnte nicht nach „%2“ kopiert werden: %3.</translation>
    </message>
    <message>
        <source>“%1” is nested too deeply to be copied.</source>
        <translation>„%1“ ist zu tief verschachtelt, um kopiert zu werden.</translation>
    </message>
    <message numerus="yes">
        <source>Copying %n item(s) to “%1”</source>
        <translation>
            <numerusform>Kopiere %n Objekt nach „%1“</numerusform>
            <numerusform>Kopiere %n Objekte nach „%1“</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Moving %n item(s) to “%1”</source>
        <translation>
            <numerusform>Bewege %n Objekt nach „%1“</numerusform>
            <numerusform>Bewege %n Objekte nach „%1“</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Making %n alias(es) in “%1”</source>
        <translation>
            <numerusform>Lege %n Alias in „%1“ an</numerusform>
            <numerusform>Lege %n Aliasse in „%1“ an</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Moving %n item(s) to the Trash</source>
        <translation>
            <numerusform>Lege %n Objekt in den Papierkorb</numerusform>
            <numerusform>Lege %n Objekte in den Papierkorb</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Rotating %n image(s)</source>
        <translation>
            <numerusform>Drehe %n Bild</numerusform>
            <numerusform>Drehe %n Bilder</numerusform>
        </translation>
    </message>
    <message>
        <source>untitled folder</source>
        <translation>Neuer Ordner</translation>
    </message>
    <message>
        <source>“%1” cannot be a folder&apos;s name.</source>
        <translation>„%1“ kann kein Ordnername sein.</translation>
    </message>
    <message>
        <source>No folder could be made in “%1”: %2.</source>
        <translation>In „%1“ konnte kein Ordner angelegt werden: %2.</translation>
    </message>
    <message>
        <source>“%1” cannot be a name.</source>
        <translation>„%1“ kann kein Name sein.</translation>
    </message>
    <message>
        <source>“%1” is too long for a name.</source>
        <translation>„%1“ ist zu lang für einen Namen.</translation>
    </message>
    <message>
        <source>The name “%1” is already taken.</source>
        <translation>Der Name „%1“ ist bereits vergeben.</translation>
    </message>
    <message>
        <source>“%1” could not be renamed: %2.</source>
        <translation>„%1“ konnte nicht umbenannt werden: %2.</translation>
    </message>
</context>
<context>
    <name>QuillboxWindow</name>
    <message>
        <source>Random</source>
        <translation>Zufällig</translation>
    </message>
    <message>
        <source>Folders First</source>
        <translation>Ordner zuerst</translation>
    </message>
    <message>
        <source>Folders Last</source>
        <translation>Ordner zuletzt</translation>
    </message>
    <message>
        <source>Folders Among Files</source>
        <translation>Ordner zwischen Dateien</translation>
    </message>
    <message>
        <source>Visible Items</source>
        <translation>Sichtbare Objekte</translation>
    </message>
    <message>
        <source>Everything, Hidden Items Too</source>
        <translation>Alles, auch Unsichtbares</translation>
    </message>
    <message>
        <source>Images</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Images, Music and Movies</source>
        <translation>Bilder, Musik und Filme</translation>
    </message>
    <message>
        <source>Images and Folders</source>
        <translation>Bilder und Ordner</translation>
    </message>
    <message>
        <source>Media and Folders</source>
        <translation>Medien und Ordner</translation>
    </message>
    <message>
        <source>Folders</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Files</source>
        <translation>Dateien</translation>
    </message>
    <message>
        <source>Bookmarks</source>
        <translation>Lesezeichen</translation>
    </message>
    <message>
        <source>Inspector</source>
        <translation>Informationen</translation>
    </message>
    <message>
        <source>&amp;Open</source>
        <translation>Ö&amp;ffnen</translation>
    </message>
    <message>
        <source>Show in File &amp;Manager</source>
        <translation>In der &amp;Dateiverwaltung zeigen</translation>
    </message>
    <message>
        <source>&amp;New Folder</source>
        <translation>&amp;Neuer Ordner</translation>
    </message>
    <message>
        <source>&amp;Rename...</source>
        <translation>&amp;Umbenennen …</translation>
    </message>
    <message>
        <source>Move to &amp;Trash</source>
        <translation>In den &amp;Papierkorb</translation>
    </message>
    <message>
        <source>Rotate &amp;Left</source>
        <translation>Nach &amp;links drehen</translation>
    </message>
    <message>
        <source>Rotate R&amp;ight</source>
        <translation>Nach &amp;rechts drehen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Select &amp;All</source>
        <translation>&amp;Alles auswählen</translation>
    </message>
    <message>
        <source>&amp;Back</source>
        <translation>&amp;Zurück</translation>
    </message>
    <message>
        <source>&amp;Forward</source>
        <translation>&amp;Vorwärts</translation>
    </message>
    <message>
        <source>&amp;Enclosing Folder</source>
        <translation>Ü&amp;bergeordneter Ordner</translation>
    </message>
    <message>
        <source>&amp;Home</source>
        <translation>Be&amp;nutzerordner</translation>
    </message>
    <message>
        <source>Zoom &amp;In</source>
        <translation>Ver&amp;größern</translation>
    </message>
    <message>
        <source>Zoom &amp;Out</source>
        <translation>Ver&amp;kleinern</translation>
    </message>
    <message>
        <source>&amp;Add Bookmark</source>
        <translation>Lesezeichen &amp;hinzufügen</translation>
    </message>
    <message>
        <source>&amp;Import Desktop Bookmarks</source>
        <translation>Lesezeichen des Desktops &amp;importieren</translation>
    </message>
    <message>
        <source>&amp;About Quillbox</source>
        <translation>&amp;Über Quillbox</translation>
    </message>
    <message>
        <source>As &amp;List</source>
        <translation>Als &amp;Liste</translation>
    </message>
    <message>
        <source>As &amp;Thumbnails</source>
        <translation>Als &amp;Miniaturen</translation>
    </message>
    <message>
        <source>&amp;Sort By</source>
        <translation>&amp;Sortieren nach</translation>
    </message>
    <message>
        <source>Ascending</source>
        <translation>Aufsteigend</translation>
    </message>
    <message>
        <source>Descending</source>
        <translation>Absteigend</translation>
    </message>
    <message>
        <source>&amp;Show</source>
        <translation>&amp;Zeigen</translation>
    </message>
    <message>
        <source>Leave Out Folders</source>
        <translation>Ordner auslassen</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Darstellung</translation>
    </message>
    <message>
        <source>Show &amp;Bookmarks</source>
        <translation>&amp;Lesezeichen zeigen</translation>
    </message>
    <message>
        <source>Show &amp;Inspector</source>
        <translation>&amp;Informationen zeigen</translation>
    </message>
    <message>
        <source>&amp;Go</source>
        <translation>&amp;Gehe zu</translation>
    </message>
    <message>
        <source>&amp;Bookmarks</source>
        <translation>&amp;Lesezeichen</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>Toolbar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>Thumbnail size</source>
        <translation>Miniaturgröße</translation>
    </message>
    <message>
        <source>Filter by name</source>
        <translation>Nach Namen filtern</translation>
    </message>
    <message numerus="yes">
        <source>%n item(s)</source>
        <translation>
            <numerusform>%n Objekt</numerusform>
            <numerusform>%n Objekte</numerusform>
        </translation>
    </message>
    <message>
        <source>No application opens “%1”.</source>
        <translation>Kein Programm öffnet „%1“.</translation>
    </message>
    <message>
        <source>Rename</source>
        <translation>Umbenennen</translation>
    </message>
    <message>
        <source>New name for “%1”:</source>
        <translation>Neuer Name für „%1“:</translation>
    </message>
    <message numerus="yes">
        <source>%n bookmark(s) imported from the desktop.</source>
        <translation>
            <numerusform>%n Lesezeichen vom Desktop importiert.</numerusform>
            <numerusform>%n Lesezeichen vom Desktop importiert.</numerusform>
        </translation>
    </message>
    <message>
        <source>About Quillbox</source>
        <translation>Über Quillbox</translation>
    </message>
    <message>
        <source>&lt;h3&gt;Quillbox %1&lt;/h3&gt;&lt;p&gt;A file browser and image viewer built on the TQKit library: live folders, thumbnails, image metadata, labels, bookmarks and lossless rotation.&lt;/p&gt;&lt;p&gt;Licensed under the BSD 3-Clause licence; TQKit under the LGPL 2.1 or later.&lt;/p&gt;</source>
        <translation>&lt;h3&gt;Quillbox %1&lt;/h3&gt;&lt;p&gt;Ein Dateibrowser und Bildbetrachter auf Grundlage der Bibliothek TQKit: lebendige Ordner, Miniaturen, Bild-Metadaten, Etiketten, Lesezeichen und verlustfreies Drehen.&lt;/p&gt;&lt;p&gt;Lizenziert unter der BSD-3-Clause-Lizenz; TQKit unter der LGPL 2.1 oder später.&lt;/p&gt;</translation>
    </message>
    <message>
        <source>Drop Locations</source>
        <translation>Ablageorte</translation>
    </message>
    <message>
        <source>“%1” cannot be started.</source>
        <translation>„%1“ kann nicht gestartet werden.</translation>
    </message>
    <message>
        <source>Applications in the Open With Menu</source>
        <translation>Programme im Menü „Öffnen mit“</translation>
    </message>
    <message>
        <source>Favourite Drop Locations</source>
        <translation>Bevorzugte Ablageorte</translation>
    </message>
    <message>
        <source>Choose a Folder</source>
        <translation>Ordner wählen</translation>
    </message>
    <message numerus="yes">
        <source>%n item(s) could not be labelled: %1</source>
        <translation>
            <numerusform>%n Objekt konnte nicht etikettiert werden: %1</numerusform>
            <numerusform>%n Objekte konnten nicht etikettiert werden: %1</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 (and %n more problem(s))</source>
        <translation>
            <numerusform>%1 (und %n weiteres Problem)</numerusform>
            <numerusform>%1 (und %n weitere Probleme)</numerusform>
        </translation>
    </message>
</context>
</TS>
