<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
<name></name>
<message id="Cancel"><source></source><translation>Cancel</translation></message>
<message id="Duplicate entry"><source></source><translation>Duplicate entry</translation></message>
<message id="Email Support"><source></source><translation>Email Support</translation></message>
<message id="Existing data will be removed. This cannot be undone."><source></source><translation>Existing data will be removed. This cannot be undone.</translation></message>
<message id="Failed"><source></source><translation>Failed</translation></message>
<message id="Initializing"><source></source><translation>Initializing</translation></message>
<message id="OK"><source></source><translation>OK</translation></message>
<message id="Pause"><source></source><translation>Pause</translation></message>
<message id="Paused"><source></source><translation>Paused</translation></message>
<message id="Ready"><source></source><translation>Ready</translation></message>
<message id="Remove Data?"><source></source><translation>Remove Data?</translation></message>
<message id="Reset"><source></source><translation>Reset</translation></message>
<message id="Resume"><source></source><translation>Resume</translation></message>
<message id="Running"><source></source><translation>Running</translation></message>
<message id="Start"><source></source><translation>Start</translation></message>
<message id="Stopped"><source></source><translation>Stopped</translation></message>
<message id="Succeeded"><source></source><translation>Succeeded</translation></message>
<message id="tr.crash-report.message"><source></source><translation>A report of what went wrong has been left in %1. Your unfinished downloads have been kept.</translation></message>
<message id="tr.crash-report.title"><source></source><translation>Tarvo Quit Unexpectedly</translation></message>
<message id="tr.err.already-stopped"><source></source><translation>The download was stopped.</translation></message>
<message id="tr.err.api-format"><source></source><translation>Another program has asked Tarvo for something in a form that Tarvo does not understand.</translation></message>
<message id="tr.err.archive-damaged"><source></source><translation>The saved data can't be read: %1.</translation></message>
<message id="tr.err.authentication"><source></source><translation>The server asks for a user name and a password.</translation></message>
<message id="tr.err.bundle-in-use"><source></source><translation>Another download is working on &quot;%1&quot;.</translation></message>
<message id="tr.err.bundle-in-use-recovery"><source></source><translation>Wait for it to end, or stop it, and try again.</translation></message>
<message id="tr.err.could-not-rename-file"><source></source><translation>No free name was found for the file: too many files of that name are in the folder.</translation></message>
<message id="tr.err.disk-full-recovery"><source></source><translation>Free some space and try again; the download continues where it stopped.</translation></message>
<message id="tr.err.duplicate-downloads"><source></source><translation>%1 of the downloads were in the queue already.</translation></message>
<message id="tr.err.duplicate-recovery"><source></source><translation>They go on as they are; nothing was added twice.</translation></message>
<message id="tr.err.ftp-directory"><source></source><translation>The address is a folder, not a file.</translation></message>
<message id="tr.err.html-file"><source></source><translation>The address leads to a web page, not to a file.</translation></message>
<message id="tr.err.http-status"><source></source><translation>HTTP Status %1 (%2)</translation></message>
<message id="tr.err.illegal-state"><source></source><translation>The download can't be prepared in its present state.</translation></message>
<message id="tr.err.incomplete"><source></source><translation>The server ended the transfer before the whole file had arrived.</translation></message>
<message id="tr.err.incomplete-recovery"><source></source><translation>What has arrived is kept; try again to fetch the rest.</translation></message>
<message id="tr.err.more-errors"><source></source><translation>More problems have come up (%1); the log names the first of them.</translation></message>
<message id="tr.err.no-bundle"><source></source><translation>&quot;%1&quot; is no unfinished download: the names of those end in .trdownload.</translation></message>
<message id="tr.err.no-create-data-file"><source></source><translation>The data file of the download could not be created.</translation></message>
<message id="tr.err.no-create-progress-file"><source></source><translation>The progress file of the download could not be created.</translation></message>
<message id="tr.err.no-link"><source></source><translation>There is nothing in it that can be downloaded.</translation></message>
<message id="tr.err.no-open-progress-file"><source></source><translation>The progress file of the download could not be opened.</translation></message>
<message id="tr.err.progress-file-mismatch"><source></source><translation>The unfinished download in the folder belongs to another file than the one the server offers now.</translation></message>
<message id="tr.err.progress-file-recovery"><source></source><translation>Move or remove the unfinished download and try again.</translation></message>
<message id="tr.err.progress.data-corrupt"><source></source><translation>The progress file is corrupt: the progress data could not be loaded.</translation></message>
<message id="tr.err.queue-full"><source></source><translation>The queue has %1 downloads already, and takes no more.</translation></message>
<message id="tr.err.queue-full-recovery"><source></source><translation>Remove some of them and try again.</translation></message>
<message id="tr.err.save-with-fault"><source></source><translation>The progress of a failed download is not saved.</translation></message>
<message id="tr.err.scheduler-timeout"><source></source><translation>No data has arrived for a while.</translation></message>
<message id="tr.err.ssh-fail"><source></source><translation>The SSH connection failed, or the server did not accept the key or password.</translation></message>
<message id="tr.err.too-many-at-once"><source></source><translation>More was handed over in a minute than Tarvo takes (%1 downloads).</translation></message>
<message id="tr.err.too-many-at-once-recovery"><source></source><translation>What it has already is not touched; try the rest again later.</translation></message>
<message id="tr.err.unexpected-segment-size"><source></source><translation>The server sent something else than the part of the file that was asked for.</translation></message>
<message id="tr.err.unexpected-segment-size-recovery"><source></source><translation>Try again; if it happens again, download with a single connection.</translation></message>
<message id="tr.err.unknown-api-protocol"><source></source><translation>Tarvo can't open addresses of this kind.</translation></message>
<message id="tr.notification.multi-download"><source></source><translation>Tarvo downloaded %1 files</translation></message>
<message id="tr.notification.single-download"><source></source><translation>Tarvo downloaded %1</translation></message>
<message id="tr.notification.title"><source></source><translation>All Downloads Finished</translation></message>
<message id="tr.preferences.reset.title"><source></source><translation>Reset Settings?</translation></message>
<message id="tr.scope-bar.all"><source></source><translation>All</translation></message>
<message id="tr.scope-bar.done"><source></source><translation>Done</translation></message>
<message id="tr.scope-bar.failed"><source></source><translation>Failed</translation></message>
<message id="tr.scope-bar.pending"><source></source><translation>Pending</translation></message>
<message id="tr.scope-bar.running"><source></source><translation>Running</translation></message>
<message id="tr.startup-err-message"><source></source><translation>It looks like Tarvo crashed before it could finish starting up. Would you like to reset your settings?</translation></message>
</context>
</TS>
