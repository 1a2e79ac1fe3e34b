# Completes the arguments of tarvo in fish.
set -l verbs list status add start pause resume remove retry move log settings watch
set -l on_rows list start pause resume remove retry move

function __tarvo_rows
    tarvo list --names 2>/dev/null
    printf '%s\tRows\n' all failed finished paused running waiting
end

complete -c tarvo -f -a '(__fish_complete_directories (commandline -ct) "Bundle, or folder")'
complete -c tarvo -n "not __fish_seen_subcommand_from $verbs" -l headless -d 'Run without a window'
complete -c tarvo -n "not __fish_seen_subcommand_from $verbs" -o ResetDefaults -d 'First forget all settings and the saved queue'
complete -c tarvo -n "not __fish_seen_subcommand_from $verbs" -l version -d 'Print the version'
complete -c tarvo -n "not __fish_seen_subcommand_from $verbs" -s h -l help -d 'Print a summary of the options'
complete -c tarvo -n __fish_use_subcommand -a "$verbs" -d 'Ask the one that runs'
complete -c tarvo -n "__fish_seen_subcommand_from $on_rows" -a '(__tarvo_rows)'
complete -c tarvo -n '__fish_seen_subcommand_from move' -a 'top up down bottom'
complete -c tarvo -n '__fish_seen_subcommand_from list status watch settings' -l json -d 'Print JSON'
complete -c tarvo -n '__fish_seen_subcommand_from list' -l names -d 'Print only numbers and names'
complete -c tarvo -n '__fish_seen_subcommand_from remove' -l data -d 'Delete their files, too'
complete -c tarvo -n '__fish_seen_subcommand_from add' -s d -l directory -x -a '(__fish_complete_directories)' -d 'Folder for the files'
complete -c tarvo -n '__fish_seen_subcommand_from add' -s x -l connections -x -d 'Connections for each file'
complete -c tarvo -n '__fish_seen_subcommand_from add' -l start -d 'Start the queue'
complete -c tarvo -n '__fish_seen_subcommand_from add' -l no-start -d 'Leave the queue as it is'
complete -c tarvo -n '__fish_seen_subcommand_from log' -s n -l lines -x -d 'Lines'
complete -c tarvo -n '__fish_seen_subcommand_from log' -s f -l follow -d 'Go on with what comes'
complete -c tarvo -n '__fish_seen_subcommand_from settings' -l reset -d 'Put it back to its default'
