<?xml  version='1.0' encoding='UTF-8'?>
<Command Type="PauseRequest"><RequestName Encoding="percent">100%0025%DCFF%0001.drq</RequestName></Command>
