# Completion for cvhost and cvdesk, by the one for bash.
function __cvhost_complete
    bash (dirname (command -s cvhost))/../share/bash-completion/completions/cvhost (commandline -opc) (commandline -ct) 2>/dev/null
end
complete -c cvhost -a '(__cvhost_complete)'
complete -c cvdesk -a '(__cvhost_complete)'
