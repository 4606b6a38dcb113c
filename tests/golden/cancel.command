<?xml  version='1.0' encoding='UTF-8'?>
<Command Type="CancelRequest"><RequestName>abc.drq</RequestName></Command>
